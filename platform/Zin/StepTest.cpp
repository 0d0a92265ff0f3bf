#include "Zin/Step.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace Zin {
namespace {

TEST(Step, RunsWhatItHolds) {
    int ran = 0;
    Step step([&ran, by = std::make_unique<int>(3)] { ran += *by; });
    step();
    step();
    EXPECT_EQ(ran, 6);
}

TEST(Step, LetsGoOfWhatItHeldWhenItGoes) {
    auto const held = std::make_shared<int>();
    {
        Step const step([held] {});
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST(Step, MovesAndLetsGoOfWhatItHeldBefore) {
    auto const one = std::make_shared<int>();
    auto const other = std::make_shared<int>();
    Step step([one] {});
    step = Step([other] {});
    EXPECT_EQ(one.use_count(), 1);
    std::vector<Step> steps;
    steps.push_back(std::move(step));
    steps.emplace_back();
    EXPECT_EQ(other.use_count(), 2);
    steps.clear();
    EXPECT_EQ(other.use_count(), 1);
}

TEST(Step, KeepsACopyOfACallableThatStays) {
    auto const held = std::make_shared<int>();
    auto const callable = [held] { ++*held; };
    Step step(callable);
    step();
    EXPECT_EQ(*held, 1);
    EXPECT_EQ(held.use_count(), 3);
}

}  // namespace
}  // namespace Zin
