// The bytes of an address, in network order, and what is computed on them.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>

namespace Nimb {

// In network order.
using Ip4Bytes = std::array<std::uint8_t, 4>;
using Ip6Bytes = std::array<std::uint8_t, 16>;

// The bytes as two words of this machine, to be hashed.
constexpr std::array<std::uint64_t, 2> words(Ip6Bytes const& bytes) {
    return std::bit_cast<std::array<std::uint64_t, 2>>(bytes);
}

// Without a call: every look-up compares addresses.
constexpr bool isEqual(Ip6Bytes const& a, Ip6Bytes const& b) {
    return ((words(a)[0] ^ words(b)[0]) | (words(a)[1] ^ words(b)[1])) == 0;
}

// As numbers, so that they compare as the addresses do.
constexpr std::array<std::uint64_t, 2> numbers(Ip6Bytes const& bytes) {
    auto [high, low] = words(bytes);
    if constexpr (std::endian::native == std::endian::little) {
        high = __builtin_bswap64(high);
        low = __builtin_bswap64(low);
    }
    return {high, low};
}
constexpr std::strong_ordering compare(Ip6Bytes const& a, Ip6Bytes const& b) {
    return numbers(a) <=> numbers(b);
}

// `address` with all but its first `length` bits cleared.
constexpr Ip6Bytes masked(Ip6Bytes const& address, std::uint8_t length) {
    auto const mask = [length](unsigned before) -> std::uint64_t {
        if (length <= before) {
            return 0;
        }
        std::uint64_t const bits =
            length - before >= 64 ? ~std::uint64_t{0} : ~(~std::uint64_t{0} >> (length - before));
        return std::endian::native == std::endian::little ? __builtin_bswap64(bits) : bits;
    };
    auto const [high, low] = words(address);
    return std::bit_cast<Ip6Bytes>(std::array<std::uint64_t, 2>{high & mask(0), low & mask(64)});
}

}  // namespace Nimb
