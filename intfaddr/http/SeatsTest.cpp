#include "intfaddr/http/Seats.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

TEST(Seats, AreTakenUntilTheyAreLetGo) {
    Seats seats(2);
    auto first = seats.take();
    auto const second = seats.take();
    EXPECT_TRUE(first && second);
    EXPECT_FALSE(seats.take());

    first.reset();
    first = seats.take();
    EXPECT_TRUE(first);
    EXPECT_FALSE(seats.take());
}

}  // namespace
}  // namespace IntfAddr
