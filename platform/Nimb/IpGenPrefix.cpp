#include "Nimb/IpGenPrefix.h"

#include "Nimb/IpGenAddrWithMask.h"

namespace Nimb {

IpGenPrefix::IpGenPrefix(std::string_view text) {
    IpGenAddrWithMask const value(text);
    *this = value.prefix();
    if (address_ != value.address()) {
        throw Zin::ParseError({}, 0, "a subnet without host bits set");
    }
}

AddrText IpGenPrefix::text() const { return IpGenAddrWithMask(address_, prefixLength_).text(); }

}  // namespace Nimb
