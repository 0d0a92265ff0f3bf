// The process's hash key: random words that every hash is keyed with (see Zin/Hash.h), and the seed
// of the hash collections. Each collection hashes with that seed XOR a salt of its own, so that two
// collections with the same keys place them differently.
//
// Fixed unless the program says otherwise, so that two runs of a test are the same run. A process
// whose keys come from strangers draws its key first of all: what has been hashed by then, in
// collections and in values that keep their hash, is lost under another key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Zin {

struct HashKey {
    static constexpr std::size_t size = 9;  // in words

    // The same draw makes the same key.
    explicit constexpr HashKey(std::uint64_t draw) noexcept {
        for (std::uint64_t& word : words) {
            word = next(draw);
        }
        seed = static_cast<std::uint32_t>(next(draw) >> 32);
    }

    std::array<std::uint64_t, size> words{};  // of every hash
    std::uint32_t seed;                       // of the hash collections

private:
    // One draw stretched to all words: SplitMix64 (G. Steele, D. Lea, C. Flood: "Fast splittable
    // pseudorandom number generators", 2014).
    static constexpr std::uint64_t next(std::uint64_t& state) noexcept {
        std::uint64_t z = state += 0x9e3779b97f4a7c15U;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }
};

namespace HashImpl {

// One in a process, also where a program hides the symbols of its own.
[[gnu::visibility("default")]] inline constinit HashKey key{0x5eed2018};

}  // namespace HashImpl

inline HashKey const& hashKey() noexcept { return HashImpl::key; }
inline std::uint32_t hashSeed() noexcept { return hashKey().seed; }
inline void hashKeyIs(HashKey const& key) noexcept { HashImpl::key = key; }

// A key from the system's entropy. Throws std::system_error where there is none.
HashKey drawnHashKey();

}  // namespace Zin
