#include "Nimb/IpAddrWithMask.h"

namespace Nimb {

IpAddrWithMask::IpAddrWithMask(std::string_view text) {
    AddrReader reader(text);
    address_ = Ip4Addr(reader.ip4());
    prefixLength_ = reader.prefixLength(32);
    reader.end();
}

}  // namespace Nimb
