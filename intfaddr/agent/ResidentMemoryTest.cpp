#include "intfaddr/agent/ResidentMemory.h"

#include <gtest/gtest.h>

#include <vector>

namespace IntfAddr {
namespace {

TEST(ResidentMemory, HasWhatHasBeenWritten) {
    auto const before = residentMemory();
    std::vector<char> const more(std::size_t{16} << 20, 'x');
    EXPECT_EQ(more.back(), 'x');
    EXPECT_GE(residentMemory(), before + (std::uint64_t{15} << 20));
}

}  // namespace
}  // namespace IntfAddr
