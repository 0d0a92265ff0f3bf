#include "IpLib/IntfAddrVrfTableTestKit/TableRows.h"

#include <algorithm>

#include "Zin/Format.h"

namespace TestKit {

std::vector<std::string> rowsOf(IpLib::IntfAddrVrfTable const& table) {
    std::vector<std::string> texts;
    for (auto const& row : table.intfAddrEntry()) {
        if (row.key.key.virtualIp) {
            texts.push_back(fmt::format("{} virtual", row.key.key.addr));
        } else {
            texts.push_back(fmt::format("{}/{} {}", row.key.key.addr, row.key.subnet.prefixLength(),
                                        row.key.intfId));
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

}  // namespace TestKit
