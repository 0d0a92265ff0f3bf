#include "Nimb/Ip6Addr.h"

namespace Nimb {

Ip6Addr::Ip6Addr(std::string_view text) {
    AddrReader reader(text);
    bytes_ = reader.ip6();
    reader.end();
}

}  // namespace Nimb
