// An IPv4 address together with the prefix length of its subnet, as it is configured on an
// interface. The default, 0.0.0.0/0, stands for none. Sorts by address, then by prefix length.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrText.h"
#include "Nimb/Ip4Addr.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IpAddrWithMask : public Zin::TextValue<IpAddrWithMask> {
public:
    constexpr IpAddrWithMask() = default;
    // Throws RangeError if `prefixLength` is more than 32.
    IpAddrWithMask(Ip4Addr const& address, std::uint8_t prefixLength)
        : address_(address), prefixLength_(checkPrefixLength(prefixLength, 32)) {}
    explicit IpAddrWithMask(std::string_view text);

    constexpr Ip4Addr const& address() const { return address_; }
    constexpr std::uint8_t prefixLength() const { return prefixLength_; }
    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::hashWords(seed, std::uint64_t{address_.value()} << 32 | prefixLength_);
    }
    AddrText text() const { return (AddrText() << address_.bytes() << '/').number(prefixLength_); }

    friend constexpr bool operator==(IpAddrWithMask const&, IpAddrWithMask const&) = default;
    friend constexpr std::strong_ordering operator<=>(IpAddrWithMask const&,
                                                      IpAddrWithMask const&) = default;

private:
    Ip4Addr address_;
    std::uint8_t prefixLength_ = 0;
};

}  // namespace Nimb
