#include "intfaddr/ask/WatchText.h"

#include <cstdint>

#include "Zin/Format.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

std::string watchText(Json const& line) {
    if (line.contains("begin")) {
        auto const why = line.value("why", "");
        auto const lost = line.value("lost", std::uint64_t{0});
        return fmt::format("# begin {}{}{}\n", line["begin"].get<std::string>(),
                           why.empty() ? "" : ": " + printable(why),
                           lost == 0 ? "" : fmt::format(" ({} changes are lost)", lost));
    }
    if (line.contains("complete")) {
        return "# complete\n";
    }
    bool const isVirtual = line["virtual"].get<bool>();
    auto const name = [&line](char const* member) {
        return printable(line[member].get<std::string>());
    };
    return fmt::format("{}  {:<10}  {:<24}  {:<16}  {}\n", line["present"].get<bool>() ? '+' : '-',
                       name("vrf"),
                       fmt::format("{}/{}", name("address"), line["prefixLength"].get<int>()),
                       isVirtual ? "-" : name("interface"), isVirtual ? "virtual" : name("subnet"));
}

}  // namespace IntfAddr
