#include "Zin/HashSeed.h"

#include <gtest/gtest.h>

namespace Zin {
namespace {

TEST(HashSeed, StaysWhatItIsUntilAnEmbedderChangesIt) {
    std::uint32_t const seed = hashSeed();
    EXPECT_EQ(hashSeed(), seed);

    hashSeedIs(seed ^ 1);
    EXPECT_EQ(hashSeed(), seed ^ 1);

    hashSeedIs(seed);
    EXPECT_EQ(hashSeed(), seed);
}

}  // namespace
}  // namespace Zin
