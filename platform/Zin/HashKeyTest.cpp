#include "Zin/HashKey.h"

#include <gmock/gmock.h>

namespace Zin {
namespace {

TEST(HashKey, ItsSeedStaysUntilTheProgramChangesTheKey) {
    HashKey const before = hashKey();
    std::uint32_t const seed = hashSeed();
    EXPECT_EQ(hashSeed(), seed);

    hashKeyIs(HashKey(1));
    EXPECT_NE(hashSeed(), seed);

    hashKeyIs(before);
    EXPECT_EQ(hashSeed(), seed);
}

TEST(HashKey, IsAnotherOneInAllItsWordsEachTimeItIsDrawn) {
    HashKey const one = drawnHashKey();
    HashKey const other = drawnHashKey();

    EXPECT_THAT(one.words, ::testing::Pointwise(::testing::Ne(), other.words));
}

}  // namespace
}  // namespace Zin
