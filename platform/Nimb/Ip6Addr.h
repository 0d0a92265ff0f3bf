// An IPv6 address. The default is the unspecified address, "::". Addresses sort by value.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrBytes.h"
#include "Nimb/AddrText.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class Ip6Addr : public Zin::TextValue<Ip6Addr> {
public:
    constexpr Ip6Addr() = default;
    // In network order.
    explicit constexpr Ip6Addr(Ip6Bytes const& bytes) : bytes_(bytes) {}
    explicit Ip6Addr(std::string_view text);

    constexpr Ip6Bytes const& bytes() const { return bytes_; }
    // In fe80::/10 (RFC 4291 section 2.5.6).
    constexpr bool isLinkLocal() const { return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80; }
    std::uint32_t hash(std::uint32_t seed = 0) const {
        return Zin::hashWords(seed, words(bytes_)[0], words(bytes_)[1]);
    }
    AddrText text() const { return AddrText() << bytes_; }

    friend constexpr bool operator==(Ip6Addr const& a, Ip6Addr const& b) {
        return isEqual(a.bytes_, b.bytes_);
    }
    friend constexpr std::strong_ordering operator<=>(Ip6Addr const& a, Ip6Addr const& b) {
        return compare(a.bytes_, b.bytes_);
    }

private:
    Ip6Bytes bytes_{};
};

}  // namespace Nimb
