// An IPv4 or IPv6 address together with the prefix length of its subnet. The default is unset,
// which prints as "". Sorts by family (unset, IPv4, IPv6), then by address, then by prefix length.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrText.h"
#include "Nimb/AddressFamily.h"
#include "Nimb/Ip6AddrWithMask.h"
#include "Nimb/IpAddrWithMask.h"
#include "Nimb/IpGenAddr.h"
#include "Nimb/IpGenPrefix.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IpGenAddrWithMask : public Zin::TextValue<IpGenAddrWithMask> {
public:
    constexpr IpGenAddrWithMask() = default;
    // Throws RangeError if the address has fewer than `prefixLength` bits.
    IpGenAddrWithMask(IpGenAddr const& address, std::uint8_t prefixLength)
        : address_(address),
          prefixLength_(checkPrefixLength(prefixLength, maxPrefixLength(address.family()))) {}
    constexpr IpGenAddrWithMask(IpAddrWithMask const& value)
        : address_(value.address()), prefixLength_(value.prefixLength()) {}
    constexpr IpGenAddrWithMask(Ip6AddrWithMask const& value)
        : address_(value.address()), prefixLength_(value.prefixLength()) {}
    explicit IpGenAddrWithMask(std::string_view text);

    constexpr AddressFamily family() const { return address_.family(); }
    // With its host bits.
    constexpr IpGenAddr const& address() const { return address_; }
    constexpr std::uint8_t prefixLength() const { return prefixLength_; }
    IpGenPrefix prefix() const { return IpGenPrefix(address_, prefixLength_); }
    constexpr bool isV6LinkLocal() const { return address_.isV6LinkLocal(); }
    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::Hash(seed).mix4(address_.hash()).mix1(prefixLength_).finish();
    }
    AddrText text() const;

    friend constexpr bool operator==(IpGenAddrWithMask const&, IpGenAddrWithMask const&) = default;
    friend constexpr std::strong_ordering operator<=>(IpGenAddrWithMask const&,
                                                      IpGenAddrWithMask const&) = default;

private:
    IpGenAddr address_;
    std::uint8_t prefixLength_ = 0;
};

}  // namespace Nimb
