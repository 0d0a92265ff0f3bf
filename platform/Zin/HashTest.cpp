#include "Zin/Hash.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Zin/TestHashFamilies.h"

namespace Zin {
namespace {

using ::testing::Each;
using ::testing::Gt;
using ::testing::Lt;

// For every input bit and every output bit, how often in a thousand changing the one changed the
// other; `hash` takes the input as an array of words.
template <std::size_t Words, class HashOf>
std::vector<int> avalanche(HashOf hash) {
    std::mt19937_64 random(1);
    std::vector<int> changes(Words * 64 * 32);
    for (int trial = 0; trial < 1000; ++trial) {
        std::array<std::uint64_t, Words> input;
        for (auto& word : input) {
            word = random();
        }
        std::uint32_t const before = hash(input);
        for (std::size_t in = 0; in < Words * 64; ++in) {
            auto changed = input;
            changed[in / 64] ^= std::uint64_t{1} << (in % 64);
            std::uint32_t const difference = before ^ hash(changed);
            for (std::size_t out = 0; out < 32; ++out) {
                changes[in * 32 + out] += static_cast<int>(difference >> out & 1);
            }
        }
    }
    return changes;
}

// A fair coin stays within 6 standard deviations of 500.
auto const isEven = ::testing::AllOf(Gt(500 - 95), Lt(500 + 95));

TEST(Hash, EveryBitOfEveryFieldReachesEveryBitOfTheResult) {
    auto const changes = avalanche<1>([](std::array<std::uint64_t, 1> const& input) {
        return Hash(7)
            .mix4(static_cast<std::uint32_t>(input[0]))
            .mix1(static_cast<std::uint8_t>(input[0] >> 32))
            .mix1(static_cast<std::uint8_t>(input[0] >> 40))
            .mix1(static_cast<std::uint8_t>(input[0] >> 48))
            .mix1(static_cast<std::uint8_t>(input[0] >> 56))
            .finish();
    });

    EXPECT_THAT(changes, Each(isEven));
}

TEST(Hash, EveryByteOfATextCounts) {
    for (std::size_t size = 1; size <= 40; ++size) {
        std::string const text(size, 'a');
        for (std::size_t at = 0; at < size; ++at) {
            std::string changed = text;
            changed[at] = 'b';
            EXPECT_NE(hashBytes(7, changed), hashBytes(7, text)) << size << " bytes, " << at;
        }
    }
}

TEST(Hash, FieldsCountInTheirOrder) {
    EXPECT_NE(Hash(0).mix4(1).mix4(2).finish(), Hash(0).mix4(2).mix4(1).finish());
}

TEST(Hash, SeedsGiveDifferentHashes) {
    EXPECT_NE(Hash(0).mix4(1).finish(), Hash(1).mix4(1).finish());
    EXPECT_NE(hashBytes(0, "red"), hashBytes(1, "red"));
    EXPECT_NE(hashWords(0, 1U, 2U), hashWords(1, 1U, 2U));
}

TEST(Hash, IsAnotherOneUnderAnotherKey) {
    auto const hashes = [] {
        return std::vector{Hash(7).mix4(1).finish(), hashWords(7, std::uint64_t{1}),
                           hashBytes(7, ""), hashBytes(7, "management")};
    };
    HashKey const before = hashKey();
    auto const hashesBefore = hashes();

    hashKeyIs(HashKey(1));
    auto const hashesThen = hashes();
    hashKeyIs(before);

    EXPECT_THAT(hashesThen, ::testing::Pointwise(::testing::Ne(), hashesBefore));
    EXPECT_EQ(hashes(), hashesBefore);
}

// Worked out apart from this program, on a machine that has its low bytes first.
TEST(Hash, IsTheSumThatItSaysItIs) {
    HashKey const before = hashKey();
    hashKeyIs(HashKey(2018));
    std::vector<std::uint32_t> const hashes{
        hashSeed(),
        Hash(7).mix4(1).mix4(2).mix1(3).finish(),
        hashWords(7, std::uint64_t{0x0123456789abcdef}, std::uint64_t{2}, ~std::uint64_t{0}),
        hashBytes(7, "red"),
        hashBytes(7, "blue"),
        hashBytes(7, "management"),
        hashBytes(7, "a name that has more than sixteen bytes")};
    hashKeyIs(before);

    EXPECT_THAT(hashes, ::testing::ElementsAre(0x380c6a0cU, 0xf5c009efU, 0x37024f13U, 0xb7cb1a03U,
                                               0x81b3da36U, 0x2820c699U, 0x67cf55c7U));
}

TEST(HashDeathTest, RefusesARecordOfMoreFieldsThanTheKeyHasWordsFor) {
    Hash hash(0);
    for (std::uint32_t i = 1; i < HashKey::size; ++i) {
        hash.mix4(i);
    }
    EXPECT_DEATH(hash.mix4(0), "a record has more fields than a key has words");
}

// Records of two fields and of three.
struct Pair {
    HashInput<1> fields;
    std::uint32_t hash(std::uint32_t seed) const {
        return Hash(seed)
            .mix4(static_cast<std::uint32_t>(fields[0]))
            .mix4(static_cast<std::uint32_t>(fields[0] >> 32))
            .finish();
    }
};
struct Words {
    HashInput<3> words;
    std::uint32_t hash(std::uint32_t seed) const {
        return hashWords(seed, words[0], words[1], words[2]);
    }
};
struct Bytes {
    std::string bytes;
    std::uint32_t hash(std::uint32_t seed) const { return hashBytes(seed, bytes); }
};

TEST(Hash, HasNoCostlyFamilyOfRecords) {
    expectNoCostlyFamily<1>([](HashInput<1> const& input) { return Pair{input}; });
}

TEST(HashWords, HasNoCostlyFamilyOfWords) {
    expectNoCostlyFamily<3>([](HashInput<3> const& input) { return Words{input}; });
}

TEST(HashBytes, HasNoCostlyFamilyOfShortAndOfLongTexts) {
    expectNoCostlyFamily<1>([](auto const& input) { return Bytes{textOf(input)}; });
    expectNoCostlyFamily<3>([](auto const& input) { return Bytes{textOf(input)}; });
}

// What a chain of 32-bit blocks allows whatever its seed: two blocks of which the second undoes
// what the first one changed, many times over.
TEST(HashBytes, HasNoBlocksThatCancelEachOther) {
    std::set<std::uint32_t> hashes;
    for (std::uint32_t choice = 0; choice < 1024; ++choice) {
        std::string text;
        for (int block = 0; block < 10; ++block) {
            bool const other = choice >> block & 1;
            text += other ? std::string("\0\0\4\0\0\0\0\200", 8) : std::string(8, '\0');
        }
        hashes.insert(hashBytes(0, text));
    }
    EXPECT_GE(hashes.size(), 1023U);
}

TEST(HashBytes, TellsTextsApartThatDifferInTrailingZeroBytes) {
    std::set<std::uint32_t> hashes;
    for (std::size_t size = 0; size < 70; ++size) {
        hashes.insert(hashBytes(0, std::string(size, '\0')));
    }

    EXPECT_EQ(hashes.size(), 70U);
}

TEST(HashBytes, EveryByteOfATextCounts) {
    for (std::size_t size = 1; size < 70; ++size) {
        std::string const text(size, 'a');
        for (std::size_t i = 0; i < size; ++i) {
            std::string changed = text;
            changed[i] = 'b';
            EXPECT_NE(hashBytes(0, changed), hashBytes(0, text)) << changed;
        }
    }
}

TEST(HashWords, EveryBitOfEveryWordReachesEveryBitOfTheResult) {
    auto const changes = avalanche<3>([](std::array<std::uint64_t, 3> const& input) {
        return hashWords(7, input[0], input[1], input[2]);
    });

    EXPECT_THAT(changes, Each(isEven));
}

// The keys that addresses make differ in a few bits, and most of their words are zero.
TEST(HashWords, NeighbouringKeysSpreadEvenly) {
    for (int shift = 0; shift < 64; shift += 8) {
        for (int word = 0; word < 3; ++word) {
            constexpr std::size_t buckets = 1024;
            constexpr std::uint64_t keys = 16 * buckets;
            std::vector<int> low(buckets);
            std::vector<int> high(buckets);
            for (std::uint64_t key = 0; key < keys; ++key) {
                std::array<std::uint64_t, 3> words{};
                words[static_cast<std::size_t>(word)] = std::rotl(key, shift);
                std::uint32_t const hash = hashWords(0, words[0], words[1], words[2]);
                ++low[hash % buckets];
                ++high[hash / (1U << 22)];
            }

            // 16 keys a bucket on average, give or take 4.
            EXPECT_THAT(low, Each(Lt(16 + 7 * 4))) << word << " " << shift;
            EXPECT_THAT(high, Each(Lt(16 + 7 * 4))) << word << " " << shift;
        }
    }
}

}  // namespace
}  // namespace Zin
