// An IPv6 address. The default is the unspecified address, "::". Addresses sort by value.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <string_view>

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
    constexpr std::uint32_t hash(std::uint32_t seed = 0) const {
        auto const words = std::bit_cast<std::array<std::uint64_t, 2>>(bytes_);
        return Zin::hashWords(seed, words[0], words[1]);
    }
    AddrText text() const { return AddrText() << bytes_; }

    friend constexpr bool operator==(Ip6Addr const&, Ip6Addr const&) = default;
    friend constexpr std::strong_ordering operator<=>(Ip6Addr const&, Ip6Addr const&) = default;

private:
    Ip6Bytes bytes_{};
};

}  // namespace Nimb
