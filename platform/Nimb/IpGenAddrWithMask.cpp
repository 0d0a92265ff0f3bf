#include "Nimb/IpGenAddrWithMask.h"

namespace Nimb {

IpGenAddrWithMask::IpGenAddrWithMask(std::string_view text) {
    if (text.empty()) {
        return;
    }
    *this = AddrReader(text).isIp6() ? IpGenAddrWithMask(Ip6AddrWithMask(text))
                                     : IpGenAddrWithMask(IpAddrWithMask(text));
}

AddrText IpGenAddrWithMask::text() const {
    if (family() == AddressFamily::unset) {
        return {};
    }
    AddrText text = address_.text();
    (text << '/').number(prefixLength_);
    return text;
}

}  // namespace Nimb
