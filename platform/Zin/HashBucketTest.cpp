#include "Zin/HashBucket.h"

#include <gtest/gtest.h>

#include <random>

namespace Zin {
namespace {

TEST(HashBucket, IsEmptyInAllItsPlacesAtFirst) {
    HashBucket const bucket;
    EXPECT_EQ(bucket.empties(), 0x7fu);
    EXPECT_EQ(bucket.used(), 0u);
    EXPECT_EQ(bucket.match(1), 0u);
}

TEST(HashBucket, MatchesExactlyThePlacesWithTheHashWhateverElseItHolds) {
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        HashBucket bucket;
        bucket.passed = static_cast<std::uint32_t>(random() % 3);
        unsigned taken = 0;
        for (unsigned place = 0; place < HashBucket::places; ++place) {
            bucket.hash[place] = static_cast<std::uint32_t>(random() % 4) * 0x55555555;
            bucket.slot[place] = static_cast<std::uint32_t>(random() % 3) << 20;
            taken += bucket.slot[place] != 0 ? 1u << place : 0u;
        }
        EXPECT_EQ(bucket.used(), taken);
        for (std::uint32_t const hash : {0u, 1u, 0x55u, 0x55555555u, 0xaaaaaaaau, 0xffffffffu}) {
            unsigned expected = 0;
            for (unsigned place = 0; place < HashBucket::places; ++place) {
                expected += bucket.hash[place] == hash ? 1u << place : 0u;
            }
            ASSERT_EQ(bucket.match(hash), expected);
        }
    }
}

}  // namespace
}  // namespace Zin
