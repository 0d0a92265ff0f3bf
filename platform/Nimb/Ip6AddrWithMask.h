// An IPv6 address together with the prefix length of its subnet, as it is configured on an
// interface. The default, ::/0, stands for none. Sorts by address, then by prefix length.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrText.h"
#include "Nimb/Ip6Addr.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class Ip6AddrWithMask : public Zin::TextValue<Ip6AddrWithMask> {
public:
    constexpr Ip6AddrWithMask() = default;
    // Throws RangeError if `prefixLength` is more than 128.
    Ip6AddrWithMask(Ip6Addr const& address, std::uint8_t prefixLength)
        : address_(address), prefixLength_(checkPrefixLength(prefixLength, 128)) {}
    explicit Ip6AddrWithMask(std::string_view text);

    constexpr Ip6Addr const& address() const { return address_; }
    constexpr std::uint8_t prefixLength() const { return prefixLength_; }
    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::Hash(seed).mix4(address_.hash()).mix1(prefixLength_).finish();
    }
    AddrText text() const { return (AddrText() << address_.bytes() << '/').number(prefixLength_); }

    friend constexpr bool operator==(Ip6AddrWithMask const&, Ip6AddrWithMask const&) = default;
    friend constexpr std::strong_ordering operator<=>(Ip6AddrWithMask const&,
                                                      Ip6AddrWithMask const&) = default;

private:
    Ip6Addr address_;
    std::uint8_t prefixLength_ = 0;
};

}  // namespace Nimb
