// A subnet: an IPv4 or IPv6 address masked to its prefix length. The default is unset, which prints
// as "". Sorts by family (unset, IPv4, IPv6), then by address, then shorter prefixes first.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrText.h"
#include "Nimb/AddressFamily.h"
#include "Nimb/IpGenAddr.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IpGenPrefix : public Zin::TextValue<IpGenPrefix> {
public:
    constexpr IpGenPrefix() = default;
    // The subnet of `prefixLength` bits in which `address` lies. Throws RangeError if the address
    // has fewer bits.
    IpGenPrefix(IpGenAddr const& address, std::uint8_t prefixLength)
        : address_(address.masked(prefixLength)),
          prefixLength_(checkPrefixLength(prefixLength, maxPrefixLength(address.family()))) {}
    // A text with host bits set is malformed.
    explicit IpGenPrefix(std::string_view text);

    constexpr AddressFamily family() const { return address_.family(); }
    constexpr IpGenAddr const& address() const { return address_; }
    constexpr std::uint8_t prefixLength() const { return prefixLength_; }
    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::Hash(seed).mix4(address_.hash()).mix1(prefixLength_).finish();
    }
    AddrText text() const;

    friend constexpr bool operator==(IpGenPrefix const&, IpGenPrefix const&) = default;
    friend constexpr std::strong_ordering operator<=>(IpGenPrefix const&,
                                                      IpGenPrefix const&) = default;

private:
    IpGenAddr address_;
    std::uint8_t prefixLength_ = 0;
};

}  // namespace Nimb
