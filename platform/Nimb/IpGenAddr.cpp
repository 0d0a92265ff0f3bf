#include "Nimb/IpGenAddr.h"

namespace Nimb {

IpGenAddr::IpGenAddr(std::string_view text) {
    if (text.empty()) {
        return;
    }
    *this = AddrReader(text).isIp6() ? IpGenAddr(Ip6Addr(text)) : IpGenAddr(Ip4Addr(text));
}

AddrText IpGenAddr::text() const {
    switch (family_) {
        case AddressFamily::ipv4:
            return ip4().text();
        case AddressFamily::ipv6:
            return ip6().text();
        case AddressFamily::unset:
            break;
    }
    return {};
}

}  // namespace Nimb
