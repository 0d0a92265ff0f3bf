// Clean-up of what an interface has in the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <string>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"

namespace IpLib {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Testing::Meddler;
using Testing::SmBench;
using Testing::Texts;

constexpr auto ipv4 = Nimb::AddressFamily::ipv4;
constexpr auto ipv6 = Nimb::AddressFamily::ipv6;

constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0};

// The traces of the machine that speak of clean-ups.
Texts cleanupTraces(SmBench const& bench) {
    Texts texts;
    for (auto const& text : bench.traceTexts()) {
        if (text.find("clean") != std::string::npos || text.find("Cleanup") != std::string::npos) {
            texts.push_back(text);
        }
    }
    return texts;
}

std::string failureOf(std::function<void()> const& step) {
    try {
        step();
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        return error.message();
    }
    return "nothing failed";
}

TEST(InterfaceCleanup, RowsOfAVanishedInterfaceStayForTheDelayAndNotLonger) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    bench.ip("Ethernet2", "10.0.1.1/24");
    bench.time.advanceTo(10.0);

    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.published(), ElementsAre("10.0.1.1/24 Ethernet2"));
    bench.time.advanceTo(std::nextafter(11.5, 0.0));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.0.2/24 Ethernet1",
                                          "10.0.1.1/24 Ethernet2"));

    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.1.0/24 Ethernet2 10.0.1.1"));
}

TEST(InterfaceCleanup, TellsOfEachRequest) {
    SmBench bench;
    bench.time.advanceTo(10.0);
    bench.clear();
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    bench.sm->addDeferredCleanup("Ethernet1", ipv6);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 10",
                            "9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv6 at 10"));
    EXPECT_THAT(bench.tracesOf("IntfCleanupSm"),
                ElementsAre("8 maybeScheduleTask task is scheduled to run in 1.5 seconds",
                            "8 maybeScheduleTask task is scheduled to run in 1.5 seconds"));
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);
}

TEST(InterfaceCleanup, TellsOfAllThatItRemoves) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet2", "2001:db8:1::2/64");
    bench.ip6("Ethernet1", "2001:db8:1::1/64");
    ASSERT_THAT(bench.deferred(), ElementsAre("2001:db8:1::1/64 Ethernet1"));
    bench.clear();

    bench.sm->processCleanupIntf("Ethernet1", ipv6);

    EXPECT_THAT(
        cleanupTraces(bench),
        ElementsAre("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv6",
                    "9 processCleanupIntf cleaning up ip 2001:db8::1 on Ethernet1",
                    "9 processCleanupIntf cleaning up ip 2001:db8::2 on Ethernet1",
                    "9 processCleanupIntf cleaning up ip fe80::1 on Ethernet1",
                    "9 processCleanupIntf cleaning up subnet 2001:db8::/64 on Ethernet1",
                    "9 processCleanupIntf cleaning up ipv6 link-local address on Ethernet1",
                    "9 processCleanupIntf removing deferred ip 2001:db8:1::1 on Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("cleaning up Ethernet1 for address-family IPv6",
                            "cleaning up ip 2001:db8::1 on Ethernet1",
                            "cleaning up ip 2001:db8::2 on Ethernet1",
                            "cleaning up ip fe80::1 on Ethernet1",
                            "removing deferred ip 2001:db8:1::1 on Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8:1::/64 Ethernet2 2001:db8:1::2"));
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, RemovesIndexesBeforeRowsAndSetsBeforeWhatIsLeftInThem) {
    SmBench bench;
    // A row that stands in its set alone.
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    bench.table->intfAddrEntryFromAddrDel(IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.2")));
    bench.clear();

    bench.sm->processCleanupIntf("Ethernet1", ipv4);

    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent",
                    "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 "
                    "absent"));
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatStandsInItsSetAloneGoesToo) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.table->intfAddrEntryFromAddrDelAll();
    bench.sm->processCleanupIntf("Ethernet1", ipv6);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatHasLostItsSetGoesToo) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    ASSERT_THAT(bench.sets(), IsEmpty());
    ASSERT_THAT(bench.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));

    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
}

TEST(InterfaceCleanup, WithoutADelayAnInterfaceIsCleanedUpAtOnce) {
    SmBench bench(atOnce);
    EXPECT_EQ(bench.sm->intfCleanupBacklog(), nullptr);
    EXPECT_EQ(bench.sm->intfCleanupSm(), nullptr);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.2/24");
    bench.clear();

    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(
        cleanupTraces(bench),
        AllOf(
            Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately").Times(1),
            Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                .Times(1)));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet2"));
}

TEST(InterfaceCleanup, WithoutADelayNothingIsEverPending) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, WithANegativeDelayTheNextRunOfTheSchedulerCleansUp) {
    SmBench bench({.intfCleanupDelay = -1.0});
    ASSERT_NE(bench.sm->intfCleanupBacklog(), nullptr);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    bench.time.advance(0.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ARepeatedRequestDoesNotPutTheCleanUpOff) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(11.0);
    bench.clear();
    bench.sm->addDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4"));
    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, WithNothingPendingThereIsNothingToCarryOut) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(bench.traceTexts(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnInterfaceThatComesBackIsCleanedUpAtOnceAndNotASecondTime) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    auto const entry = bench.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv4);
    ASSERT_NE(entry, nullptr);
    bench.time.advanceTo(11.0);
    bench.clear();

    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_TRUE(entry->processed());
    EXPECT_THAT(
        cleanupTraces(bench),
        AllOf(Contains(
                  "9 processPendingDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately")
                  .Times(1),
              Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                  .Times(1)));
    // What is still published is there again, the other address is gone.
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));

    bench.clear();
    bench.time.advanceTo(20.0);
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(cleanupTraces(bench), IsEmpty());
    EXPECT_TRUE(bench.sm->intfCleanupBacklog()->backlogQueue().empty());
}

TEST(InterfaceCleanup, AnInterfaceThatGoesAgainIsCleanedUpInItsOwnTime) {
    SmBench bench;
    bench.time.advanceTo(10.0);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(10.5);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.time.advanceTo(11.0);
    bench.ipStatusDel("Ethernet1");
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);

    bench.time.advanceTo(std::nextafter(12.5, 0.0));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_EQ(bench.sm->intfCleanupBacklog()->backlogQueue().size(), 1u);
    bench.time.advanceTo(12.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(InterfaceCleanup, TheFamiliesGoIndependentlyAndOnlyIpv6TakesTheLinkLocalAddress) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.time.advanceTo(10.0);
    bench.ipStatusDel("Ethernet1");
    bench.time.advanceTo(10.5);
    bench.ip6StatusDel("Ethernet1");

    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));

    bench.time.advanceTo(12.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
}

TEST(InterfaceCleanup, AnAddressWithdrawnWhileACleanUpIsPendingGoesWithIt) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.ipStatusDel("Ethernet1");
    EXPECT_THAT(bench.traceTexts(),
                Contains("8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on Ethernet1 "
                         "as deferred cleanup is present"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnAddressThatWaitsForAVanishedInterfaceGetsItsTurn) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, AWaitingAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmBench bench({.deferredIntfAddDelay = 2.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet2");
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    bench.clear();
    bench.time.advance(1.5);
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 processCleanupIntf removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(Tremlog::messages(), Contains("removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AWaitingLinkLocalAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

// The next try comes before the clean-up of the interface that went: nobody wants the address, and
// it still waits.
TEST(InterfaceCleanup, ATryBeforeTheCleanUpFailsAndTheCleanUpComesAllTheSame) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.time.advance(1.0);
    bench.ipStatusDel("Ethernet2");
    EXPECT_EQ(failureOf([&] { bench.time.advance(1.0); }),
              "intfId=Ethernet2;addrWithMask=10.0.0.1/24 missing in all collection");
    bench.time.advance(0.5);
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AManyFoldCleanUpGivesWayAndFinishes) {
    SmBench bench({}, 1);
    for (int i = 0; i < 20; ++i) {
        bench.ip(fmt::format("Ethernet{}", i), fmt::format("10.0.{}.1/24", i));
    }
    for (int i = 0; i < 20; ++i) {
        bench.ipStatusDel(fmt::format("Ethernet{}", i));
    }
    bench.clear();
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.tracesOf("IntfCleanupSm"), Contains(HasSubstr("yielding with")).Times(20));
    EXPECT_EQ(bench.sm->intfCleanupSm()->task()->taskWorkCount(), 20u);
}

TEST(InterfaceCleanup, AMachineThatGoesLeavesTheRowsOfWhatIsPending) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ipStatusDel("Ethernet1");
    bench.smDel();
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, ARequestThatIsProcessedAndStillPendingFails) {
    SmBench bench;
    bench.sm->addDeferredCleanup("Ethernet1", ipv6);
    bench.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv6)->processedIs(true);
    EXPECT_EQ(failureOf([&] { bench.sm->addDeferredCleanup("Ethernet1", ipv6); }),
              "backlog contains entry for Ethernet1 af IPv6 that was already processed");
}

TEST(InterfaceCleanup, ARequestWithoutATaskMachineFails) {
    SmBench bench;
    bench.sm->intfCleanupSmDel();
    EXPECT_EQ(failureOf([&] { bench.sm->addDeferredCleanup("Ethernet1", ipv4); }),
              "no intfCleanupSm when there is a delay 1.5");
}

}  // namespace
}  // namespace IpLib
