// Clean-up of what an interface has in the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <new>
#include <string>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "TestMemory/TestMemory.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using TestKit::Meddler;
using TestKit::SmFixture;
using TestKit::Texts;

constexpr auto ipv4 = Nimb::AddressFamily::ipv4;
constexpr auto ipv6 = Nimb::AddressFamily::ipv6;

constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0};

// The traces of the machine that speak of clean-ups.
Texts cleanupTraces(SmFixture const& fixture) {
    Texts texts;
    for (auto const& text : fixture.traceTexts()) {
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
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    fixture.ip("Ethernet2", "10.0.1.1/24");
    fixture.time.advanceTo(10.0);

    fixture.ipStatusDel("Ethernet1");
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.1.1/24 Ethernet2"));
    fixture.time.advanceTo(std::nextafter(11.5, 0.0));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.0.2/24 Ethernet1",
                                            "10.0.1.1/24 Ethernet2"));

    fixture.time.advanceTo(11.5);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.1.1/24 Ethernet2"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.1.0/24 Ethernet2 10.0.1.1"));
}

TEST(InterfaceCleanup, TellsOfEachRequest) {
    SmFixture fixture;
    fixture.time.advanceTo(10.0);
    fixture.clear();
    fixture.sm->addDeferredCleanup("Ethernet1", ipv4);
    fixture.sm->addDeferredCleanup("Ethernet1", ipv4);
    fixture.sm->addDeferredCleanup("Ethernet1", ipv6);
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 10",
                            "9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv6 at 10"));
    EXPECT_THAT(fixture.tracesOf("IntfCleanupSm"),
                ElementsAre("8 maybeScheduleTask task is scheduled to run in 1.5 seconds",
                            "8 maybeScheduleTask task is scheduled to run in 1.5 seconds"));
    EXPECT_EQ(fixture.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);
}

TEST(InterfaceCleanup, TellsOfAllThatItRemoves) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet2", "2001:db8:1::2/64");
    fixture.ip6("Ethernet1", "2001:db8:1::1/64");
    ASSERT_THAT(fixture.deferred(), ElementsAre("2001:db8:1::1/64 Ethernet1"));
    fixture.clear();

    fixture.sm->processCleanupIntf("Ethernet1", ipv6);

    EXPECT_THAT(
        cleanupTraces(fixture),
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
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("2001:db8:1::2/64 Ethernet2"));
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8:1::/64 Ethernet2 2001:db8:1::2"));
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, RemovesIndexesBeforeRowsAndSetsBeforeWhatIsLeftInThem) {
    SmFixture fixture;
    // A row that stands in its set alone.
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    fixture.table->intfAddrEntryFromAddrDel(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.2")));
    fixture.clear();

    fixture.sm->processCleanupIntf("Ethernet1", ipv4);

    EXPECT_THAT(
        fixture.events,
        ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent",
                    "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 "
                    "absent"));
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatStandsInItsSetAloneGoesToo) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.table->intfAddrEntryFromAddrDelAll();
    fixture.sm->processCleanupIntf("Ethernet1", ipv6);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
}

TEST(InterfaceCleanup, ADeprecatedRowThatHasLostItsSetGoesToo) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    ASSERT_THAT(fixture.sets(), IsEmpty());
    ASSERT_THAT(fixture.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));

    fixture.ip6StatusDel("Ethernet1");
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
}

TEST(InterfaceCleanup, WithoutADelayAnInterfaceIsCleanedUpAtOnce) {
    SmFixture fixture(atOnce);
    EXPECT_EQ(fixture.sm->intfCleanupBacklog(), nullptr);
    EXPECT_EQ(fixture.sm->intfCleanupSm(), nullptr);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.2/24");
    fixture.clear();

    fixture.ipStatusDel("Ethernet1");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(
        cleanupTraces(fixture),
        AllOf(
            Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately").Times(1),
            Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                .Times(1)));
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 Ethernet2"));
}

TEST(InterfaceCleanup, WithoutADelayNothingIsEverPending) {
    SmFixture fixture(atOnce);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(fixture.traceTexts(), IsEmpty());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, WithANegativeDelayTheNextRunOfTheSchedulerCleansUp) {
    SmFixture fixture({.intfCleanupDelay = -1.0});
    ASSERT_NE(fixture.sm->intfCleanupBacklog(), nullptr);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ipStatusDel("Ethernet1");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    fixture.time.advance(0.0);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(InterfaceCleanup, ARepeatedRequestDoesNotPutTheCleanUpOff) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.time.advanceTo(10.0);
    fixture.ipStatusDel("Ethernet1");
    fixture.time.advanceTo(11.0);
    fixture.clear();
    fixture.sm->addDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4"));
    fixture.time.advanceTo(11.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(InterfaceCleanup, WithNothingPendingThereIsNothingToCarryOut) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.sm->processPendingDeferredCleanup("Ethernet1", ipv4);
    EXPECT_THAT(fixture.traceTexts(), IsEmpty());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnInterfaceThatComesBackIsCleanedUpAtOnceAndNotASecondTime) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.1.1/24");
    fixture.time.advanceTo(10.0);
    fixture.ipStatusDel("Ethernet1");
    auto const entry = fixture.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv4);
    ASSERT_NE(entry, nullptr);
    fixture.time.advanceTo(11.0);
    fixture.clear();

    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_TRUE(entry->processed());
    EXPECT_THAT(
        cleanupTraces(fixture),
        AllOf(Contains(
                  "9 processPendingDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately")
                  .Times(1),
              Contains("8 processCleanupIntf cleaning up Ethernet1 for address-family IPv4")
                  .Times(1)));
    // What is still published is there again, the other address is gone.
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));

    fixture.clear();
    fixture.time.advanceTo(20.0);
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(cleanupTraces(fixture), IsEmpty());
    EXPECT_TRUE(fixture.sm->intfCleanupBacklog()->backlogQueue().empty());
}

TEST(InterfaceCleanup, AnIp6InterfaceThatComesBackIsCleanedUpBeforeItsAddressesArePublished) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6StatusDel("Ethernet1");
    auto const pending =
        fixture.sm->intfCleanupBacklog()->getBacklog("Ethernet1", Nimb::AddressFamily::ipv6);
    ASSERT_TRUE(pending);
    fixture.time.advance(1.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));

    fixture.ip6("Ethernet1", "2001:db8::1/64");

    EXPECT_TRUE(pending->processed());
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    fixture.clear();
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.traceTexts(), Not(Contains(HasSubstr("cleaning up"))));
}

TEST(InterfaceCleanup, AnInterfaceThatGoesAgainIsCleanedUpInItsOwnTime) {
    SmFixture fixture;
    fixture.time.advanceTo(10.0);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ipStatusDel("Ethernet1");
    fixture.time.advanceTo(10.5);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.time.advanceTo(11.0);
    fixture.ipStatusDel("Ethernet1");
    EXPECT_EQ(fixture.sm->intfCleanupBacklog()->backlogQueue().size(), 2u);

    fixture.time.advanceTo(std::nextafter(12.5, 0.0));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_EQ(fixture.sm->intfCleanupBacklog()->backlogQueue().size(), 1u);
    fixture.time.advanceTo(12.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(InterfaceCleanup, TheFamiliesGoIndependentlyAndOnlyIpv6TakesTheLinkLocalAddress) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.time.advanceTo(10.0);
    fixture.ipStatusDel("Ethernet1");
    fixture.time.advanceTo(10.5);
    fixture.ip6StatusDel("Ethernet1");

    fixture.time.advanceTo(11.5);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));

    fixture.time.advanceTo(12.0);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
}

TEST(InterfaceCleanup, AnAddressWithdrawnWhileACleanUpIsPendingGoesWithIt) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.ipStatusDel("Ethernet1");
    EXPECT_THAT(fixture.traceTexts(),
                Contains("8 handleIntfAddrWithMask deferring removal of ip 10.0.0.1 on Ethernet1 "
                         "as deferred cleanup is present"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AnAddressThatWaitsForAVanishedInterfaceGetsItsTurn) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ipStatusDel("Ethernet1");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(InterfaceCleanup, AWaitingAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmFixture fixture({.deferredIntfAddDelay = 2.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.ipStatusDel("Ethernet2");
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));

    fixture.clear();
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 processCleanupIntf removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(Tremlog::messages(), Contains("removing deferred ip 10.0.0.1 on Ethernet2"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AWaitingLinkLocalAddressOfAVanishedInterfaceIsDroppedWithIt) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet1", "fe80::2/64");
    fixture.ip6StatusDel("Ethernet1");
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

// The next try comes before the clean-up of the interface that went: nobody wants the address, and
// it still waits.
TEST(InterfaceCleanup, ATryBeforeTheCleanUpFailsAndTheCleanUpComesAllTheSame) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.time.advance(1.0);
    fixture.ipStatusDel("Ethernet2");
    EXPECT_EQ(failureOf([&] { fixture.time.advance(1.0); }),
              "intfId=Ethernet2;addrWithMask=10.0.0.1/24 missing in all collection");
    fixture.time.advance(0.5);
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, AManyFoldCleanUpGivesWayAndFinishes) {
    SmFixture fixture({}, 1);
    for (int i = 0; i < 20; ++i) {
        fixture.ip(fmt::format("Ethernet{}", i), fmt::format("10.0.{}.1/24", i));
    }
    for (int i = 0; i < 20; ++i) {
        fixture.ipStatusDel(fmt::format("Ethernet{}", i));
    }
    fixture.clear();
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.tracesOf("IntfCleanupSm"), Contains(HasSubstr("yielding with")).Times(20));
    EXPECT_EQ(fixture.sm->intfCleanupSm()->task()->taskWorkCount(), 20u);
}

TEST(InterfaceCleanup, AMachineThatGoesLeavesTheRowsOfWhatIsPending) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ipStatusDel("Ethernet1");
    fixture.smDel();
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(InterfaceCleanup, ARequestThatIsProcessedAndStillPendingFails) {
    SmFixture fixture;
    fixture.sm->addDeferredCleanup("Ethernet1", ipv6);
    fixture.sm->intfCleanupBacklog()->getBacklog("Ethernet1", ipv6)->processedIs(true);
    EXPECT_EQ(failureOf([&] { fixture.sm->addDeferredCleanup("Ethernet1", ipv6); }),
              "backlog contains entry for Ethernet1 af IPv6 that was already processed");
}

TEST(InterfaceCleanup, ARequestWithoutATaskMachineFails) {
    SmFixture fixture;
    fixture.sm->intfCleanupSmDel();
    EXPECT_EQ(failureOf([&] { fixture.sm->addDeferredCleanup("Ethernet1", ipv4); }),
              "no intfCleanupSm when there is a delay 1.5");
}

// Wherever memory lacks for a request, the next one is carried out; also where the first one waits
// for another change.
TEST(InterfaceCleanup, IsCarriedOutAtTheNextRequestWhereMemoryLackedForTheFirst) {
    for (bool const isNested : {false, true}) {
        bool happened = true;
        for (std::size_t allowed = 0; happened; ++allowed) {
            SmFixture fixture;
            fixture.ip("Ethernet1", "10.0.0.1/24");
            auto const request = [&] {
                TestMemory::OneFailure const failure(allowed);
                try {
                    fixture.sm->addDeferredCleanup("Ethernet1", ipv4);
                } catch (std::bad_alloc const&) {
                }
                happened = failure.happened();
            };
            Meddler const meddler(fixture, isNested ? "addr=10.0.2.1" : "nobody", request);
            if (!isNested) {
                request();
            }
            try {
                fixture.ip("Ethernet2", "10.0.2.1/24");
            } catch (std::bad_alloc const&) {
            }
            fixture.sm->addDeferredCleanup("Ethernet1", ipv4);
            fixture.time.advance(10.0);
            ASSERT_THAT(fixture.rows(), ElementsAre("10.0.2.1/24 Ethernet2"))
                << "nested " << isNested << ", allocations allowed " << allowed;
        }
    }
}

}  // namespace
}  // namespace IpLib
