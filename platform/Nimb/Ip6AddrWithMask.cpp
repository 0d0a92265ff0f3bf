#include "Nimb/Ip6AddrWithMask.h"

namespace Nimb {

Ip6AddrWithMask::Ip6AddrWithMask(std::string_view text) {
    AddrReader reader(text);
    address_ = Ip6Addr(reader.ip6());
    prefixLength_ = reader.prefixLength(128);
    reader.end();
}

}  // namespace Nimb
