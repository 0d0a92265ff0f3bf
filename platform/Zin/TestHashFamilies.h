// For the tests of hashes: keys as a stranger would choose them to have them hash alike, and what
// looking them up costs.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Zin/HashBucket.h"
#include "Zin/HashKey.h"

namespace Zin {

// Keys as words, which a test makes keys of its type from.
template <std::size_t N>
using HashInput = std::array<std::uint64_t, N>;

inline constexpr std::size_t hashFamilySize = 1536;  // fills 256 buckets to six of seven

// Gives `take` each family's name, and its member of a number.
template <std::size_t N, class Take>
void forEachHashFamily(Take const& take) {
    std::vector<std::uint64_t> constants{
        0,
        ~std::uint64_t{0},
        // Of mixers in wide use, of our own, and of the one that we had before.
        0x9e3779b97f4a7c15U,
        0x9e3779b1U,
        0x85ebca6bU,
        0xc2b2ae35U,
        0xa0761d6478bd642fU,
        0xe7037ed1a0b428dbU,
        0x8ebc6af09c88c6e3U,
    };
    for (std::uint64_t const word : hashKey().words) {
        constants.insert(constants.end(), {word, 0 - word, word >> 32, 0 - (word & 0xffffffff)});
    }
    for (std::size_t word = 0; word < N; ++word) {
        std::string const inWord = " in word " + std::to_string(word);
        for (std::uint64_t const constant : constants) {
            for (std::uint64_t const same : {constant, __builtin_bswap64(constant)}) {
                take("the constant " + std::to_string(same) + inWord, [&](std::uint64_t i) {
                    HashInput<N> input{};
                    input[word] = same;
                    input[(word + 1) % N] += i;
                    return input;
                });
            }
        }
        for (int shift = 0; shift < 64; shift += 4) {
            take("steps of 2^" + std::to_string(shift) + inWord, [&](std::uint64_t i) {
                HashInput<N> input{};
                input[word] = std::rotl(i, shift);
                return input;
            });
        }
        take("equal halves" + inWord, [&](std::uint64_t i) {
            HashInput<N> input{};
            input[word] = i << 32 | i;
            return input;
        });
        take("opposite halves" + inWord, [&](std::uint64_t i) {
            HashInput<N> input{};
            input[word] = i << 32 | (0xffffffff - i);
            return input;
        });
    }
    take("equal words", [](std::uint64_t i) {
        HashInput<N> input;
        input.fill(i);
        return input;
    });
    // No, one, two and three single bits.
    std::uint64_t constexpr bits = 64 * N;
    take("single bits", [](std::uint64_t i) {
        HashInput<N> input{};
        for (std::uint64_t bit : {i % bits, i / bits % bits * 7 % bits, i * i / 3 % bits}) {
            input[bit / 64] ^= std::uint64_t{1} << (bit % 64);
        }
        return input;
    });
}

// How many buckets and members are looked at to look up each of the keys in a full map of them.
inline std::size_t lookUpCost(std::vector<std::uint32_t> const& hashes) {
    std::size_t const buckets = std::bit_ceil(hashes.size() / 6);
    struct Taken {
        std::array<std::uint32_t, HashBucket::places> hashes;
        std::size_t count = 0;
    };
    std::vector<Taken> all(buckets);
    std::size_t cost = 0;
    for (std::uint32_t const hash : hashes) {
        Taken* taken = all.data() + ((std::uint64_t{hash} * buckets) >> 32);
        auto const look = [&] {
            ++cost;
            for (std::size_t i = 0; i < taken->count; ++i) {
                cost += taken->hashes[i] == hash;
            }
        };
        for (look(); taken->count == taken->hashes.size(); look()) {
            taken = taken == &all.back() ? all.data() : taken + 1;
        }
        taken->hashes[taken->count++] = hash;
    }
    return cost;
}

// Expects that no family of `keyOf(input)`, which is another key for another input, costs more than
// twice what random keys cost, under several keys of the process.
template <std::size_t N, class KeyOf>
void expectNoCostlyFamily(KeyOf const& keyOf) {
    HashKey const before = hashKey();
    for (HashKey const& key : {before, HashKey(2018)}) {
        hashKeyIs(key);
        std::mt19937 random(1);
        std::vector<std::uint32_t> hashes(hashFamilySize);
        for (std::uint32_t& hash : hashes) {
            hash = static_cast<std::uint32_t>(random());
        }
        std::size_t const randomCost = lookUpCost(hashes);
        forEachHashFamily<N>([&](std::string const& name, auto const& memberAt) {
            for (std::uint64_t i = 0; i < hashFamilySize; ++i) {
                hashes[i] = keyOf(memberAt(i)).hash(hashSeed() ^ 0x5aff5bf6);
            }
            EXPECT_LE(lookUpCost(hashes), 2 * randomCost) << name;
        });
    }
    hashKeyIs(before);
}

// The words as a text of their bytes.
template <std::size_t N>
std::string textOf(HashInput<N> const& input) {
    auto const bytes = std::bit_cast<std::array<char, 8 * N>>(input);
    return std::string(bytes.data(), bytes.size());
}

}  // namespace Zin
