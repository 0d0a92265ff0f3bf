// 32-bit hashing of values. Hash values live in one process only: they are neither stored nor sent.
//
// Hash takes the fields of a record one by one, in the order of their declaration. hashBytes hashes
// a text, hashWords a value of fixed size that is kept in words; both are well mixed, so that their
// results may be used as they are or be fields of a Hash in turn.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Zin {

// Started from a seed, fed 4-byte and 1-byte values, finished to 32 bits.
class Hash {
public:
    explicit constexpr Hash(std::uint32_t seed) noexcept : state_(seed) {}

    constexpr Hash& mix4(std::uint32_t value) noexcept { return mix(value, 4); }
    constexpr Hash& mix1(std::uint8_t value) noexcept { return mix(value, 1); }

    constexpr std::uint32_t finish() const noexcept {
        // The count tells a short text from the same text with zero bytes behind it.
        std::uint32_t h = state_ ^ count_;
        h = (h ^ (h >> 16)) * 0x85ebca6bU;
        h = (h ^ (h >> 13)) * 0xc2b2ae35U;
        return h ^ (h >> 16);
    }

private:
    friend constexpr std::uint32_t hashBytes(std::uint32_t seed, std::string_view bytes) noexcept;

    constexpr Hash& mix(std::uint32_t value, std::uint32_t bytes) noexcept {
        state_ ^= std::rotl(value * 0xcc9e2d51U, 15) * 0x1b873593U;
        state_ = std::rotl(state_, 13) * 5 + 0xe6546b64U;
        count_ += bytes;
        return *this;
    }

    std::uint32_t state_;
    std::uint32_t count_ = 0;
};

constexpr std::uint32_t hashBytes(std::uint32_t seed, std::string_view bytes) noexcept {
    auto const byte = [bytes](std::size_t i) {
        return std::uint32_t{static_cast<std::uint8_t>(bytes[i])};
    };
    Hash hash(seed);
    std::size_t i = 0;
    for (; bytes.size() - i >= 4; i += 4) {
        hash.mix4(byte(i) | byte(i + 1) << 8 | byte(i + 2) << 16 | byte(i + 3) << 24);
    }
    if (i < bytes.size()) {
        std::uint32_t tail = 0;
        std::uint32_t const count = static_cast<std::uint32_t>(bytes.size() - i);
        for (std::uint32_t k = 0; k < count; ++k) {
            tail |= byte(i + k) << (8 * k);
        }
        hash.mix(tail, count);
    }
    return hash.finish();
}

namespace HashImpl {

// Multiplies to 128 bits and folds the halves: every bit of both reaches every bit of the result.
constexpr std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
    __extension__ using Wide = unsigned __int128;
    Wide const product = Wide{a} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline constexpr std::uint64_t k0 = 0xa0761d6478bd642fU;
inline constexpr std::uint64_t k1 = 0xe7037ed1a0b428dbU;
inline constexpr std::uint64_t k2 = 0x8ebc6af09c88c6e3U;

}  // namespace HashImpl

constexpr std::uint32_t hashWords(std::uint32_t seed, std::uint64_t a, std::uint64_t b,
                                  std::uint64_t c = 0) noexcept {
    using namespace HashImpl;
    std::uint64_t const ab = fold(a ^ k0, b ^ k1);
    std::uint64_t const all = fold(ab ^ seed ^ k2, c ^ k1);
    // Once more, for keys that differ in a few bits of the last word only.
    return static_cast<std::uint32_t>(((all ^ (all >> 32)) * k0) >> 32);
}

}  // namespace Zin
