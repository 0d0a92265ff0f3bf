// The bytes of an address, in network order, and what is computed on them.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Nimb {

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

// `address` with all but its first `length` bits cleared.
template <std::size_t N>
constexpr std::array<std::uint8_t, N> masked(std::array<std::uint8_t, N> address,
                                             std::uint8_t length) {
    for (std::size_t i = 0; i < N; ++i) {
        if (8 * i >= length) {
            address[i] = 0;
        } else if (length - 8 * i < 8) {
            address[i] &= static_cast<std::uint8_t>(0xff00U >> (length - 8 * i));
        }
    }
    return address;
}

}  // namespace Nimb
