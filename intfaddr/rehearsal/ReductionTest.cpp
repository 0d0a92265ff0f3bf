#include "intfaddr/rehearsal/Reduction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

struct ReductionTest : AnswersTest {
    Reduced reduced(char const* addr, std::chrono::nanoseconds most = std::chrono::seconds(20)) {
        return IntfAddr::reduced(drained(*reply("state", {{"vrf", "default"}}).body), "default",
                                 Nimb::IpGenAddr(addr),
                                 ask("addresses", {{"address", addr}})["addresses"], most);
    }
};

TEST_F(ReductionTest, WhoWaitsIsShownWithWhomHeWaitsFor) {
    add(own, 9, "eth2");
    addAddress(7, "10.0.0.1/24");
    addAddress(7, "10.0.7.1/24");
    addAddress(8, "10.0.0.2/24");
    addAddress(8, "10.0.8.2/24");
    addAddress(9, "10.0.9.2/24");
    runTo(20.0);
    auto const [lines, isSame] = reduced("10.0.0.2");
    EXPECT_TRUE(isSame);
    EXPECT_THAT(lines, Each(Not(HasSubstr("eth2"))));
    EXPECT_THAT(lines, Contains(AllOf(HasSubstr("eth0"), HasSubstr("10.0.0.1/24"))));
    EXPECT_THAT(lines, Contains(AllOf(HasSubstr("eth1"), HasSubstr("10.0.0.2/24"))));
    // The configuration, the table, two devices, the VRF's status, two interfaces', two addresses.
    EXPECT_LE(lines.size(), 9U) << fmt::format("{}", fmt::join(lines, "\n"));
}

TEST_F(ReductionTest, OfVeryManyAddressesThoseInOtherSubnetsGoAtOnce) {
    for (int i = 0; i < 200; ++i) {
        addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
    }
    addAddress(8, "10.0.42.2/24");
    runTo(20.0);
    auto const [lines, isSame] = reduced("10.0.42.2", std::chrono::seconds(0));
    EXPECT_TRUE(isSame);
    EXPECT_THAT(lines, Contains(HasSubstr("10.0.42.1/24")));
    EXPECT_LE(lines.size(), 20U) << fmt::format("{}", fmt::join(lines, "\n"));
}

TEST_F(ReductionTest, WithoutTimeNothingIsTriedButAllIsRight) {
    addAddress(7, "10.0.0.1/24");
    addAddress(7, "10.0.0.7/24");
    runTo(20.0);
    auto const [lines, isSame] = reduced("10.0.0.1", std::chrono::seconds(0));
    EXPECT_TRUE(isSame);
    EXPECT_THAT(lines, Contains(HasSubstr("10.0.0.7/24")));
}

TEST_F(ReductionTest, AVirtualAddressNeedsItselfAlone) {
    agent.apply({Routing::VipAdd{"default", Nimb::IpAddrWithMask("10.0.0.9/32")},
                 Routing::Vip6Add{"default", Nimb::Ip6Addr("2001:db8::9")}});
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    for (char const* const addr : {"10.0.0.9", "2001:db8::9"}) {
        auto const [lines, isSame] = reduced(addr);
        EXPECT_TRUE(isSame);
        EXPECT_EQ(lines.size(), 3U) << fmt::format("{}", fmt::join(lines, "\n"));
    }
}

TEST_F(ReductionTest, WhatNobodyPublishesNeedsNothing) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    auto const [lines, isSame] = reduced("10.0.0.2");
    EXPECT_TRUE(isSame);
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ReductionTest, WhatAReplayDoesNotGiveIsSaid) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    auto wanted = ask("addresses")["addresses"];
    wanted[0]["place"] = "waiting";
    auto const [lines, isSame] =
        IntfAddr::reduced(drained(*reply("state", {{"vrf", "default"}}).body), "default",
                          Nimb::IpGenAddr("10.0.0.1"), wanted, std::chrono::seconds(1));
    EXPECT_FALSE(isSame);
    EXPECT_THAT(lines, Contains(HasSubstr("10.0.0.1/24")));
}

}  // namespace
}  // namespace IntfAddr
