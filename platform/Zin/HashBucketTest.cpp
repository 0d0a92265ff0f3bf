#include "Zin/HashBucket.h"

#include <gtest/gtest.h>

#include <random>

namespace Zin {
namespace {

TEST(HashBucket, IsEmptyInAllItsPlacesAtFirst) {
    HashBucket const bucket;
    EXPECT_EQ(bucket.empties(), 0xfffu);
    EXPECT_EQ(bucket.match(1), 0u);
}

TEST(HashBucket, GivesEveryHashATagThatIsNotThatOfEmptyPlaces) {
    for (std::uint32_t hash = 0; hash < 1024; ++hash) {
        EXPECT_NE(HashBucket::tagOf(hash), 0);
        EXPECT_NE(HashBucket::tagOf(hash << 8), 0);
    }
}

TEST(HashBucket, MatchesExactlyThePlacesWithTheTagWhateverElseItHolds) {
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        HashBucket bucket;
        bucket.passed = static_cast<std::uint32_t>(random());
        for (unsigned place = 0; place < HashBucket::places; ++place) {
            bucket.tag[place] = static_cast<std::uint8_t>(random() % 4 * 85);
            bucket.slot[place] = static_cast<std::uint32_t>(random());
        }
        for (unsigned const tag : {0u, 85u, 170u, 255u, 3u}) {
            unsigned expected = 0;
            for (unsigned place = 0; place < HashBucket::places; ++place) {
                expected += bucket.tag[place] == tag ? 1u << place : 0u;
            }
            ASSERT_EQ(bucket.match(static_cast<std::uint8_t>(tag)), expected);
        }
    }
}

}  // namespace
}  // namespace Zin
