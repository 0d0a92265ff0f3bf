// An IPv4 address. The default is 0.0.0.0. Addresses sort by value.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrBytes.h"
#include "Nimb/AddrText.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class Ip4Addr : public Zin::TextValue<Ip4Addr> {
public:
    constexpr Ip4Addr() = default;
    // In network order.
    explicit constexpr Ip4Addr(Ip4Bytes const& bytes) : bytes_(bytes) {}
    // As a number: 0x0a000001 is 10.0.0.1.
    explicit constexpr Ip4Addr(std::uint32_t value)
        : bytes_{static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                 static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)} {}
    explicit Ip4Addr(std::string_view text);

    constexpr Ip4Bytes const& bytes() const { return bytes_; }
    // As a number: 10.0.0.1 is 0x0a000001.
    constexpr std::uint32_t value() const {
        return std::uint32_t{bytes_[0]} << 24 | std::uint32_t{bytes_[1]} << 16 |
               std::uint32_t{bytes_[2]} << 8 | std::uint32_t{bytes_[3]};
    }
    std::uint32_t hash(std::uint32_t seed = 0) const { return Zin::hashWords(seed, value()); }
    AddrText text() const { return AddrText() << bytes_; }

    friend constexpr bool operator==(Ip4Addr const&, Ip4Addr const&) = default;
    friend constexpr std::strong_ordering operator<=>(Ip4Addr const& a, Ip4Addr const& b) {
        return a.value() <=> b.value();
    }

private:
    Ip4Bytes bytes_{};
};

}  // namespace Nimb
