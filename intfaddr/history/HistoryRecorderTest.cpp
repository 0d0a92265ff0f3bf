#include "intfaddr/history/HistoryRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "intfaddr/history/TestHistory.h"

namespace IntfAddr {
namespace {

using Routing::Texts;
using TestHistory::Bench;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// VRF red: eth0 has 10.0.0.1/24, eth1 nothing; at 1 the history begins.
struct HistoryRecorderTest : testing::Test, Bench {
    HistoryRecorderTest() {
        vrf("red");
        advance(1);
        recorder.begin();
    }
    std::optional<Zin::Seconds> since(char const* addr, char const* intf) {
        Nimb::IpGenAddrWithMask const whole(addr);
        return recorder.since().of("red",
                                   {.key = IpLib::IntfAddrEntryKey::makeIpKey(whole.address()),
                                    .intfId = intf,
                                    .subnet = whole.prefix()});
    }
    void secondary(char const* intf, char const* addr) {
        apply(inputs().ipSecondaryAdd("red", intf, Nimb::IpAddrWithMask(addr)));
    }
    void noSecondary(char const* intf, char const* addr) {
        apply(inputs().ipSecondaryDel("red", intf, Nimb::IpAddrWithMask(addr)));
    }
};

TEST_F(HistoryRecorderTest, BeforeItBeginsOnlyTheTimesOfRowsAreKept) {
    EXPECT_THAT(of("10.0.0.1"), IsEmpty());
    EXPECT_EQ(since("10.0.0.1/24", "eth0"), 0.0);
    EXPECT_EQ(recorder.history().begins(), 1.0);
}

TEST_F(HistoryRecorderTest, SaysAsWhatAnAddressWasPublishedAndThatItCame) {
    secondary("eth1", "10.1.0.1/24");
    EXPECT_THAT(of("10.1.0.1"), ElementsAre("1 was published as secondary on eth1",
                                            "1 came into the table on eth1"));
    EXPECT_EQ(since("10.1.0.1/24", "eth1"), 1.0);
    advance(1);
    noSecondary("eth1", "10.1.0.1/24");
    EXPECT_THAT(of("10.1.0.1"),
                ElementsAre("1 was published as secondary on eth1", "1 came into the table on eth1",
                            "2 was withdrawn as secondary on eth1", "2 left the table on eth1"));
    EXPECT_EQ(since("10.1.0.1/24", "eth1"), std::nullopt);
}

TEST_F(HistoryRecorderTest, WhatIsSetAlreadyIsNoNews) {
    secondary("eth1", "10.1.0.1/24");
    secondary("eth1", "10.1.0.1/24");
    primary("red", "eth0", "10.0.0.1/24");
    EXPECT_EQ(of("10.1.0.1").size(), 2U);
    EXPECT_THAT(of("10.0.0.1"), IsEmpty());
}

TEST_F(HistoryRecorderTest, ANewPrimaryTakesThePlaceOfTheOld) {
    primary("red", "eth0", "10.0.0.2/24");
    EXPECT_THAT(of("10.0.0.1"),
                ElementsAre("1 was withdrawn as primary on eth0", "1 left the table on eth0"));
    EXPECT_THAT(of("10.0.0.2"),
                ElementsAre("1 was published as primary on eth0", "1 came into the table on eth0"));
}

TEST_F(HistoryRecorderTest, AnUnnumberedInterfaceHasNoPrimary) {
    apply(inputs().ipUnnumberedIs("red", "eth0", "eth1"));
    primary("red", "eth0", "10.0.0.2/24");
    apply(inputs().ipUnnumberedIs("red", "eth0", ""));
    EXPECT_THAT(of("10.0.0.1"),
                ElementsAre("1 was withdrawn as primary on eth0", "1 left the table on eth0"));
    EXPECT_THAT(of("10.0.0.2"),
                ElementsAre("1 was published as primary on eth0", "1 came into the table on eth0"));
}

TEST_F(HistoryRecorderTest, ADeprecatedAddressIsSaidToBe) {
    apply(inputs().ip6VrfAdd("red"));
    Nimb::Ip6AddrWithMask const addr("2001:db8::1/64");
    apply(inputs().ip6IntfAdd("red", "eth0", {{.addr = addr}}));
    apply(inputs().ip6AddrSet("red", "eth0", {.addr = addr, .deprecated = true}));
    apply(inputs().ip6AddrDel("red", "eth0", addr));
    EXPECT_THAT(
        of("2001:db8::1"),
        ElementsAre("1 status came for IPv6 on eth0", "1 was published on eth0",
                    "1 came into the table on eth0", "1 was published as deprecated on eth0",
                    "1 was withdrawn on eth0", "1 left the table on eth0"));
}

TEST_F(HistoryRecorderTest, VirtualAddressesHaveAHistoryToo) {
    apply(inputs().vipAdd("red", Nimb::IpAddrWithMask("10.2.0.1/24")));
    apply(inputs().vip6Add("red", Nimb::Ip6Addr("2001:db8::2")));
    apply(inputs().vipDel("red", Nimb::IpAddrWithMask("10.2.0.1/24")));
    EXPECT_THAT(of("10.2.0.1"),
                ElementsAre("1 was published as virtual", "1 came into the table as virtual",
                            "1 was withdrawn as virtual", "1 left the table as virtual"));
    EXPECT_THAT(of("2001:db8::2"),
                ElementsAre("1 was published as virtual", "1 came into the table as virtual"));
}

TEST_F(HistoryRecorderTest, SaysBehindWhomAnAddressWaitedAndForHowLong) {
    secondary("eth1", "10.0.0.7/24");
    EXPECT_THAT(of("10.0.0.7"), ElementsAre("1 was published as secondary on eth1",
                                            "1 was deferred on eth1, behind 10.0.0.0/24 on eth0"));
    advance(1);
    primary("red", "eth0", "0.0.0.0/0");
    advance(3);
    EXPECT_THAT(of("10.0.0.7"),
                ElementsAre("1 was published as secondary on eth1",
                            "1 was deferred on eth1, behind 10.0.0.0/24 on eth0",
                            "3 was deferred no more on eth1", "3 came into the table on eth1"));
    EXPECT_EQ(since("10.0.0.7/24", "eth1"), 3.0);
}

TEST_F(HistoryRecorderTest, SaysThatAnAddressThatWaitedWasWithdrawn) {
    secondary("eth1", "10.0.0.7/24");
    advance(1);
    noSecondary("eth1", "10.0.0.7/24");
    EXPECT_THAT(of("10.0.0.7"), ElementsAre("1 was published as secondary on eth1",
                                            "1 was deferred on eth1, behind 10.0.0.0/24 on eth0",
                                            "2 was withdrawn as secondary on eth1",
                                            "2 was deferred no more on eth1"));
}

TEST(HistoryRecorder, KnowsWhatWaitedWhenItBegan) {
    Bench bench;
    bench.vrf("red");
    bench.primary("red", "eth1", "10.0.0.7/24");
    bench.recorder.begin();
    EXPECT_THAT(bench.of("10.0.0.7"), IsEmpty());
    bench.primary("red", "eth1", "0.0.0.0/0");
    EXPECT_THAT(bench.of("10.0.0.7"), ElementsAre("0 was withdrawn as primary on eth1",
                                                  "0 was deferred no more on eth1"));
}

TEST_F(HistoryRecorderTest, WhatHappensToAnInterfaceIsSaidOfItsAddresses) {
    secondary("eth1", "10.1.0.1/24");
    advance(1);
    apply(inputs().ipIntfDel("red", "eth1"));
    EXPECT_THAT(
        of("10.1.0.1"),
        ElementsAre("1 was published as secondary on eth1", "1 came into the table on eth1",
                    "2 status went for IPv4 on eth1", "2 clean-up was requested for IPv4 on eth1"));
    advance(2);
    EXPECT_THAT(
        of("10.1.0.1"),
        ElementsAre("1 was published as secondary on eth1", "1 came into the table on eth1",
                    "2 status went for IPv4 on eth1", "2 clean-up was requested for IPv4 on eth1",
                    "4 clean-up was done for IPv4 on eth1", "4 left the table on eth1"));
}

TEST_F(HistoryRecorderTest, ACleanUpWithoutRowsIsDoneWhenItIsDue) {
    secondary("eth1", "10.0.0.7/24");
    apply(inputs().ipIntfDel("red", "eth1"));
    advance(4);
    EXPECT_THAT(
        of("10.0.0.7"),
        ElementsAre("1 was published as secondary on eth1",
                    "1 was deferred on eth1, behind 10.0.0.0/24 on eth0",
                    "1 status went for IPv4 on eth1", "1 clean-up was requested for IPv4 on eth1",
                    "2.5 was deferred no more on eth1", "2.5 clean-up was done for IPv4 on eth1"));
}

TEST_F(HistoryRecorderTest, AnInterfaceThatComesBackIsCleanedUpAtOnce) {
    secondary("eth1", "10.1.0.1/24");
    apply(inputs().ipIntfDel("red", "eth1"));
    apply(inputs().ipIntfAdd("red", "eth1", {.secondary = {Nimb::IpAddrWithMask("10.1.0.1/24")}}));
    EXPECT_THAT(
        of("10.1.0.1"),
        ElementsAre("1 was published as secondary on eth1", "1 came into the table on eth1",
                    "1 status went for IPv4 on eth1", "1 clean-up was requested for IPv4 on eth1",
                    "1 status came for IPv4 on eth1", "1 was published as secondary on eth1",
                    "1 clean-up was done for IPv4 on eth1", "1 left the table on eth1",
                    "1 came into the table on eth1"));
}

TEST_F(HistoryRecorderTest, ADeviceComesAndGoesUpAndDownAndAway) {
    secondary("eth1", "10.1.0.1/24");
    apply(inputs().kernelAdd("red", "eth1", {.operStatus = Interface::OperStatus::down}));
    apply(inputs().kernelAdd("red", "eth1", {.operStatus = Interface::OperStatus::down}));
    apply(inputs().kernelAdd("red", "eth1", {}));
    apply(inputs().kernelAdd("red", "eth1", {.active = false}));
    apply(inputs().kernelDel("red", "eth1"));
    advance(3);
    apply(inputs().kernelAdd("red", "eth1", {}));
    EXPECT_THAT(of("10.1.0.1"),
                ElementsAre("1 was published as secondary on eth1", "1 came into the table on eth1",
                            "1 device went down on eth1", "1 device went up on eth1",
                            "1 device went down on eth1", "1 device went on eth1",
                            "1 clean-up was requested for IPv4 on eth1",
                            "3 clean-up was done for IPv4 on eth1", "3 left the table on eth1",
                            "4 device came on eth1", "4 came into the table on eth1"));
}

TEST_F(HistoryRecorderTest, AVrfsStatusTakesThatOfItsInterfacesAlong) {
    secondary("eth1", "10.1.0.1/24");
    apply(inputs().ipVrfDel("red"));
    EXPECT_THAT(of("10.1.0.1"), Contains("1 status went for IPv4 on eth1"));
    apply(inputs().ipVrfAdd("red"));
    apply(inputs().ipIntfAdd("red", "eth1", {.primary = Nimb::IpAddrWithMask("10.1.0.1/24")}));
    apply(inputs().ipIntfAdd("red", "eth1", {}));
    auto const all = of("10.1.0.1");
    EXPECT_EQ(std::count(all.begin(), all.end(), "1 status went for IPv4 on eth1"), 2)
        << "one that replaces another is that and a new one";
}

TEST_F(HistoryRecorderTest, ARebuildIsSaidOfTheAddressesThatItBringsOrTakes) {
    secondary("eth0", "10.0.0.5/24");
    advance(1);
    fail("red");
    EXPECT_EQ(repairs.size(), 1U);
    EXPECT_EQ(since("10.0.0.5/24", "eth0"), 1.0) << "it was there all the time";
    EXPECT_EQ(of("10.0.0.5").size(), 2U);

    // Taken away behind its machine's back, until an audit sees it.
    IpLib::IntfAddrEntryContent const row = (*router.table("red")->intfAddrEntry().begin()).key;
    router.table("red")->intfAddrEntryDel(row);
    advance(10);
    EXPECT_EQ(repairs.size(), 2U);
    auto const addr = row.key.addr.toStrep();
    EXPECT_THAT(of(addr.c_str()),
                Contains(testing::HasSubstr("changed as the table was rebuilt on eth0: ")));
}

TEST_F(HistoryRecorderTest, TheManagerTakesAlongWhatWaited) {
    secondary("eth1", "10.0.0.7/24");
    apply(router.managerStop());
    EXPECT_THAT(of("10.0.0.7"), Contains("1 was deferred no more on eth1"));
    apply(router.managerStart());
    auto const all = of("10.0.0.7");
    EXPECT_EQ(all.back(), "1 was deferred on eth1, behind 10.0.0.0/24 on eth0");
}

TEST_F(HistoryRecorderTest, AnotherTableBeginsWithItsOwnRows) {
    advance(1);
    apply(router.tableDel("red"));
    EXPECT_THAT(of("10.0.0.1"), ElementsAre("2 left the table on eth0"));
    advance(1);
    apply(router.tableAdd("red"));
    EXPECT_EQ(of("10.0.0.1").back(), "3 came into the table on eth0");
    EXPECT_EQ(since("10.0.0.1/24", "eth0"), 3.0);
}

TEST_F(HistoryRecorderTest, SaysWhatTheKernelSaid) {
    Netlink::Address address{.ifIndex = 7,
                             .local = Nimb::IpGenAddr("2001:db8::1"),
                             .peer = Nimb::IpGenAddr("2001:db8::1"),
                             .prefixLength = 64,
                             .tentative = true};
    recorder.handleKernel("red", "eth1", Netlink::AddressIs{address}, 1.25);
    address.tentative = false;
    address.dadFailed = true;
    recorder.handleKernel("red", "eth1", Netlink::AddressIs{address}, 2.25);
    recorder.handleKernel("red", "eth1", Netlink::AddressGone{address}, 3.25);
    recorder.handleKernel("red", "eth1", Netlink::LinkGone{7}, 4.25);
    EXPECT_THAT(of("2001:db8::1"),
                ElementsAre("1.25 was told by the kernel as tentative on eth1",
                            "2.25 was told by the kernel as duplicate on eth1",
                            "3.25 was told to be gone by the kernel as duplicate on eth1"));
}

}  // namespace
}  // namespace IntfAddr
