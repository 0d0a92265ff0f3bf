// An IPv4 or an IPv6 address, or none: the default is unset, which prints as "".
//
// 17 bytes: the family and 16 bytes of storage. An IPv4 address stands in the first four of them,
// the others are zero; unset is all zero. Sorts by family (unset, IPv4, IPv6), then by value.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrBytes.h"
#include "Nimb/AddrText.h"
#include "Nimb/AddressFamily.h"
#include "Nimb/Ip4Addr.h"
#include "Nimb/Ip6Addr.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IpGenAddr : public Zin::TextValue<IpGenAddr> {
public:
    constexpr IpGenAddr() = default;
    constexpr IpGenAddr(Ip4Addr const& address)
        : family_(AddressFamily::ipv4),
          bytes_{address.bytes()[0], address.bytes()[1], address.bytes()[2], address.bytes()[3]} {}
    constexpr IpGenAddr(Ip6Addr const& address)
        : family_(AddressFamily::ipv6), bytes_(address.bytes()) {}
    explicit IpGenAddr(std::string_view text);

    constexpr AddressFamily family() const { return family_; }
    // The storage, whatever the family.
    constexpr Ip6Bytes const& bytes() const { return bytes_; }
    // The address of the one family; all zero if this is of another.
    constexpr Ip4Addr ip4() const {
        return family_ == AddressFamily::ipv4
                   ? Ip4Addr(Ip4Bytes{bytes_[0], bytes_[1], bytes_[2], bytes_[3]})
                   : Ip4Addr();
    }
    constexpr Ip6Addr ip6() const {
        return family_ == AddressFamily::ipv6 ? Ip6Addr(bytes_) : Ip6Addr();
    }
    constexpr bool isV6LinkLocal() const { return ip6().isLinkLocal(); }
    // With all but the first `prefixLength` bits cleared.
    constexpr IpGenAddr masked(std::uint8_t prefixLength) const {
        IpGenAddr subnet = *this;
        subnet.bytes_ = Nimb::masked(bytes_, prefixLength);
        return subnet;
    }

    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::hashWords(seed, words(bytes_)[0], words(bytes_)[1],
                              static_cast<std::uint8_t>(family_));
    }
    AddrText text() const;

    friend constexpr bool operator==(IpGenAddr const& a, IpGenAddr const& b) {
        return isEqual(a.bytes_, b.bytes_) && a.family_ == b.family_;
    }
    friend constexpr std::strong_ordering operator<=>(IpGenAddr const& a, IpGenAddr const& b) {
        auto const families = a.family_ <=> b.family_;
        return families != 0 ? families : compare(a.bytes_, b.bytes_);
    }

private:
    AddressFamily family_ = AddressFamily::unset;
    Ip6Bytes bytes_{};
};

}  // namespace Nimb
