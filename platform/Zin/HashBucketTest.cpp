#include "Zin/HashBucket.h"

#include <gtest/gtest.h>

#include <random>

namespace Zin {
namespace {

TEST(HashBucket, IsEmptyInAllItsPlacesAtFirst) {
    HashBucket const bucket;
    EXPECT_EQ(bucket.empties(), 0x7fu);
    EXPECT_EQ(bucket.at(0, 0), 0u);
    EXPECT_EQ(bucket.match(1), 0u);
}

TEST(HashBucket, MatchesExactlyThePlacesWithTheHashWhateverElseItHolds) {
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        HashBucket bucket;
        bucket.passed = static_cast<std::uint32_t>(random() % 3);
        unsigned empties = 0;
        for (unsigned place = 0; place < HashBucket::places; ++place) {
            bucket.hash[place] = static_cast<std::uint32_t>(random() % 4) * 0x55555555;
            bucket.slot[place] = static_cast<std::uint32_t>(random() % 3) << 20;
            empties += bucket.slot[place] == 0 ? 1u << place : 0u;
        }
        ASSERT_EQ(bucket.empties(), empties);
        for (std::uint32_t const hash : {0u, 1u, 0x55u, 0x55555555u, 0xaaaaaaaau, 0xffffffffu}) {
            unsigned expected = 0;
            for (unsigned place = 0; place < HashBucket::places; ++place) {
                expected += bucket.hash[place] == hash ? 1u << place : 0u;
            }
            ASSERT_EQ(bucket.match(hash), expected);
        }
    }
}

TEST(HashBucket, TellsByTheUpperBitsOfAHashWhatIsAtHomeThere) {
    std::mt19937 random(9);
    for (std::uint32_t shift = 0; shift <= 32; ++shift) {
        HashBucket bucket;
        for (unsigned place = 0; place < HashBucket::places; ++place) {
            bucket.hash[place] = static_cast<std::uint32_t>(random());
            bucket.slot[place] = static_cast<std::uint32_t>(random() % 3) << 20;
        }
        bucket.hash[1] = bucket.hash[4] ^ 1;
        for (std::uint32_t const hash : bucket.hash) {
            auto const home = static_cast<std::uint32_t>(std::uint64_t{hash} >> shift);
            unsigned expected = 0;
            for (unsigned place = 0; place < HashBucket::places; ++place) {
                bool const isAtHome = std::uint64_t{bucket.hash[place]} >> shift == home;
                expected += isAtHome && bucket.slot[place] != 0 ? 1u << place : 0u;
            }
            ASSERT_EQ(bucket.at(home, shift), expected) << shift;
            ASSERT_EQ(bucket.at(~home, shift), 0u) << shift;
        }
    }
}

}  // namespace
}  // namespace Zin
