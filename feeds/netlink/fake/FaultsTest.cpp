#include "feeds/netlink/fake/Faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace Netlink::Fake {
namespace {

std::vector<bool> strikes(FaultPlan const& plan, int opportunities) {
    Faults faults;
    faults.follow(plan);
    std::vector<bool> all;
    for (int i = 0; i < opportunities; ++i) {
        all.push_back(faults.strikes(Fault::duplicate).has_value());
    }
    return all;
}

TEST(Faults, WhatIsOrderedStrikesAsOftenAsThat) {
    Faults faults;
    faults.next(Fault::failOpening, EMFILE, 2);

    EXPECT_EQ(faults.strikes(Fault::failListing), std::nullopt);
    EXPECT_EQ(faults.strikes(Fault::failOpening), EMFILE);
    EXPECT_EQ(faults.strikes(Fault::failOpening), EMFILE);
    EXPECT_EQ(faults.strikes(Fault::failOpening), std::nullopt);
}

TEST(Faults, APlanStrikesByItsChanceAndAlikeForASeed) {
    FaultPlan plan{.seed = 1};
    plan[Fault::duplicate] = 0.25;

    auto const all = strikes(plan, 1000);

    EXPECT_NEAR(static_cast<double>(std::ranges::count(all, true)), 250, 60);
    EXPECT_EQ(all, strikes(plan, 1000));
    plan.seed = 2;
    EXPECT_NE(all, strikes(plan, 1000));
}

TEST(Faults, AfterTheEndNothingStrikes) {
    Faults faults;
    faults.follow(FaultPlan::all(1, 1));
    faults.next(Fault::duplicate);
    EXPECT_TRUE(faults.strikes(Fault::truncate));

    faults.end();

    EXPECT_FALSE(faults.strikes(Fault::duplicate));
    EXPECT_FALSE(faults.strikes(Fault::truncate));
}

}  // namespace
}  // namespace Netlink::Fake
