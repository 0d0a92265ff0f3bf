#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using TestKit::SmFixture;
using TestKit::Texts;

constexpr IntfAddrVrfTableSmConfig ignoring{.ignoreKernelInterfaceState = true};
constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0};

// "2.5 Ethernet1 in", newest first.
Texts history(SmFixture const& fixture) {
    Texts texts;
    fixture.sm->kniKernelHistory().forEachNewestFirst([&](auto const& change) {
        texts.push_back(
            fmt::format("{} {} {}", change.time, change.intfId, change.isPresent ? "in" : "out"));
    });
    return texts;
}

void askForAll(SmFixture& fixture) {
    Zin::registeredType("IpLib::IntfAddrVrfTableSm")
        ->attribute("kernelIntfDir")
        ->handleAgain(*fixture.sm);
}

TEST(KernelPresence, AVanishedDeviceHasBothFamiliesCleanedUpAfterTheDelay) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip("Ethernet2", "10.2.0.1/24");
    fixture.time.advanceTo(10.0);
    fixture.clear();

    fixture.kernelDel("Ethernet1");
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("3 handleKernelIntf kernel interface for Ethernet1 isPresent false",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 10",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv6 at 10"));
    EXPECT_THAT(Tremlog::messages(), ElementsAre("kernel interface for Ethernet1 isPresent false"));
    EXPECT_EQ(history(fixture).front(), "10 Ethernet1 out");

    fixture.time.advanceTo(11.25);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.2.0.1/24 Ethernet2",
                                            "2001:db8::1/64 Ethernet1"));
    fixture.time.advanceTo(11.5);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.2.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.2.0.0/24 Ethernet2 10.2.0.1"));
    // They stay published, since their status holds them still.
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1", "10.2.0.1/24 Ethernet2",
                                                 "2001:db8::1/64 Ethernet1"));
}

TEST(KernelPresence, WithoutADelayAVanishedDeviceIsCleanedUpAtOnce) {
    SmFixture fixture(atOnce);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.clear();

    fixture.kernelDel("Ethernet1");

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately"));
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv6 immediately"));
}

TEST(KernelPresence, ADeviceThatReturnsInTimeSettlesTheCleanupsAndIsOfferedItsAddressesAgain) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.2/24");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.kernelDel("Ethernet1");
    fixture.time.advanceTo(1.0);
    fixture.clear();

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.0.2/24 Ethernet1",
                                            "fe80::1/64 Ethernet1"));
    EXPECT_FALSE(
        fixture.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv4));
    EXPECT_FALSE(
        fixture.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv6));
    auto const traces = fixture.traceTexts();
    EXPECT_EQ(traces[0], "3 handleKernelIntf kernel interface for Ethernet1 isPresent true");
    EXPECT_EQ(traces[1],
              "9 processPendingDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately");
    Texts offered;
    for (auto const& trace : traces) {
        if (trace.find(" adding ip ") != std::string::npos &&
            trace.find("subnet") == std::string::npos) {
            offered.push_back(trace);
        }
    }
    EXPECT_THAT(offered, ElementsAre("9 addIntfAddr adding ip 10.0.0.1 on Ethernet1",
                                     "9 addIntfAddr adding ip 10.0.0.2 on Ethernet1",
                                     "9 addIp6LinkLocal adding ip fe80::1 on Ethernet1"));

    // The clean-ups that were asked for are not carried out a second time.
    fixture.clear();
    fixture.time.advanceTo(5.0);
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(KernelPresence, ADeviceThatReturnsLateGetsItsAddressesBack) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64", true);
    fixture.kernelDel("Ethernet1");
    fixture.time.advanceTo(5.0);
    ASSERT_THAT(fixture.rows(), IsEmpty());

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                            "2001:db8::/64 Ethernet1 (2001:db8::1)"));
}

TEST(KernelPresence, AnAddressThatAnotherInterfaceHasTakenMeanwhileWaits) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.kernelDel("Ethernet1");
    fixture.time.advance(1.5);
    fixture.ip("Ethernet2", "10.0.0.1/24");

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(KernelPresence, AnAddressIsRefusedWhileTheDeviceIsAbsentAndAdmittedWhenItComes) {
    SmFixture fixture;
    fixture.kernelDel("Ethernet1");
    fixture.time.advanceTo(5.0);
    fixture.clear();
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                Contains("8 handleIntfAddrWithMask kernel interface not present for Ethernet1"));

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
}

TEST(KernelPresence, ADeviceWithoutAddressesIsRecordedAndItsCleanupsSettled) {
    SmFixture fixture;
    fixture.kernelIs("Ethernet1");
    fixture.kernelDel("Ethernet1");
    fixture.clear();

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(history(fixture), ElementsAre("0 Ethernet1 in", "0 Ethernet1 out", "0 Ethernet1 in",
                                              "0 Ethernet1 in"));
    EXPECT_FALSE(
        fixture.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv4));
    EXPECT_FALSE(
        fixture.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv6));
    EXPECT_THAT(fixture.traceTexts(), Not(Contains(HasSubstr("adding ip"))));
}

TEST(KernelPresence, ADeviceThatVanishesTwiceKeepsTheTimeOfItsFirstCleanup) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.kernelDel("Ethernet1");
    fixture.time.advanceTo(1.0);
    fixture.sm->handleKernelIntf("Ethernet1");
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4"));
    fixture.time.advanceTo(1.5);
    EXPECT_THAT(fixture.rows(), IsEmpty());
}

TEST(KernelPresence, ADeviceThatIsReplacedIsOfferedItsAddressesAgain) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.kernelIs("Ethernet1");
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_EQ(fixture.sm->kniKernelHistory().count(), 2u);
}

TEST(KernelPresence, WhereItIsIgnoredChangesAreRecordedAndNothingElse) {
    SmFixture fixture(ignoring);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();

    fixture.kernelDel("Ethernet1");

    EXPECT_THAT(history(fixture), ElementsAre("0 Ethernet1 out", "0 Ethernet1 in"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("3 handleKernelIntf kernel interface for Ethernet1 isPresent false"));
    fixture.time.advanceTo(10.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));

    // Without its device the interface's addresses are admitted all the same.
    fixture.ip("Ethernet1", "10.0.0.2/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 Ethernet1"));
}

TEST(KernelPresence, AskedForByNameEveryDeviceIsHandledInTheDirectorysOrder) {
    SmFixture fixture;
    fixture.kernelIs("Ethernet2");
    fixture.kernelIs("Ethernet1");
    fixture.clear();

    askForAll(fixture);

    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleKernelIntfAll",
                            "3 handleKernelIntf kernel interface for Ethernet2 isPresent true",
                            "3 handleKernelIntf kernel interface for Ethernet1 isPresent true"));
}

TEST(KernelPresence, AskedForByNameWhereItIsIgnoredNothingIsRecorded) {
    SmFixture fixture(ignoring);
    fixture.kernelIs("Ethernet1");
    std::size_t const before = fixture.sm->kniKernelHistory().count();
    fixture.clear();

    askForAll(fixture);

    EXPECT_THAT(fixture.traceTexts(), ElementsAre("8 handleKernelIntfAll"));
    EXPECT_EQ(fixture.sm->kniKernelHistory().count(), before);
}

TEST(KernelPresence, AskedForByNameAddressesComeBackThatAMutedMachineMissed) {
    SmFixture fixture;
    fixture.kernelDel("Ethernet1");
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.sm->hasNotificationActiveIs(false);
    fixture.kernelIs("Ethernet1");
    fixture.sm->hasNotificationActiveIs(true);
    ASSERT_THAT(fixture.rows(), IsEmpty());

    askForAll(fixture);

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(KernelPresence, WithoutADirectoryNoDeviceIsPresent) {
    SmFixture fixture;
    fixture.smDel();
    auto const sm = intfAddrVrfTableSmFactory(
        "blue", Nimb::NamespaceName("ns-blue"), fixture.config, fixture.time.scheduler(),
        fixture.virtualIp, fixture.virtualIp6, nullptr, fixture.table);
    fixture.clear();
    sm->handleKernelIntf("Ethernet1");
    sm->handleKernelIntfAll();
    EXPECT_THAT(fixture.traceTexts(),
                Contains("3 handleKernelIntf kernel interface for Ethernet1 isPresent false"));
    EXPECT_EQ(sm->kniKernelHistory().count(), 1u);
}

TEST(KernelPresence, ChangesBearTheTimeOfTheClockAlsoWhereItStandsStill) {
    SmFixture fixture;
    fixture.time.advanceTo(2.5);
    fixture.kernelIs("Ethernet1");
    fixture.kernelDel("Ethernet1");
    fixture.time.advanceTo(2.75);
    fixture.kernelIs("Ethernet1");
    EXPECT_THAT(history(fixture), ElementsAre("2.75 Ethernet1 in", "2.5 Ethernet1 out",
                                              "2.5 Ethernet1 in", "2.5 Ethernet1 in"));
}

TEST(KernelPresence, AnObserverOfTheAddressesThatComeBackMayTakeTheDeviceAway) {
    SmFixture fixture(atOnce);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.1.1/24");
    fixture.kernelDel("Ethernet1");
    ASSERT_THAT(fixture.rows(), IsEmpty());
    TestKit::Meddler const meddler(fixture, "", [&] { fixture.kernelDel("Ethernet1"); });

    fixture.kernelIs("Ethernet1");

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.sets(), IsEmpty());
}

TEST(KernelPresence, AnObserverMayWithdrawAnAddressBeforeItsDeviceIsReportedAgain) {
    for (auto const* const addr : {"10.0.0.1/24", "10.2.0.1/24"}) {
        SmFixture fixture;
        fixture.ip("Ethernet1", addr);
        TestKit::Meddler const meddler(fixture, "addr=10.3.0.1", [&] {
            fixture.ip("Ethernet1", "");
            fixture.ip("Ethernet2", "10.2.0.1/24");
            fixture.kernelIs("Ethernet1");
        });
        fixture.ip("Ethernet3", "10.3.0.1/24");
        ASSERT_TRUE(meddler.done());
        fixture.time.advance(100.0);
        EXPECT_THAT(fixture.rows(), ElementsAre("10.2.0.1/24 Ethernet2", "10.3.0.1/24 Ethernet3"));
        EXPECT_THAT(fixture.deferred(), IsEmpty());
    }
}

TEST(KernelPresence, AnObserverMayWithdrawALinkLocalAddressBeforeItsDeviceIsReportedAgain) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    TestKit::Meddler const meddler(fixture, "addr=10.3.0.1", [&] {
        fixture.ip6Del("Ethernet1", "fe80::1/64");
        fixture.kernelIs("Ethernet1");
    });
    fixture.ip("Ethernet3", "10.3.0.1/24");
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.3.0.1/24 Ethernet3"));
}

TEST(KernelPresence, AnObserverOfACleanupMayBringTheDeviceBack) {
    SmFixture fixture(atOnce);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    TestKit::Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.0.0.1",
                                   [&] { fixture.kernelIs("Ethernet1"); });
    fixture.kernelDel("Ethernet1");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                            "2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(KernelPresence, AMachineThatIsBroughtDownByItsCleanupLeavesTheTableToItsSuccessor) {
    SmFixture fixture(atOnce);
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    TestKit::Meddler const meddler(fixture, "", [&] {
        fixture.kernelIs("Ethernet1");
        fixture.sm->retire();
        fixture.smIs();
    });

    fixture.kernelDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(),
                ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                            "2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(KernelPresence, AMachineThatIsBroughtDownByWhatItAdmitsAdmitsTheRestFirst) {
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SmFixture fixture({.intfCleanupDelay = delay});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.secondary("Ethernet1", "10.0.1.1/24");
        fixture.kernelDel("Ethernet1");
        fixture.time.advance(delay);
        ASSERT_THAT(fixture.rows(), IsEmpty());
        TestKit::Meddler const meddler(fixture, "", [&] { fixture.sm->retire(); });

        fixture.kernelIs("Ethernet1");

        // As if it had been brought down right after.
        if (delay == 0.0) {
            EXPECT_THAT(fixture.rows(), IsEmpty());
        } else {
            EXPECT_THAT(fixture.rows(),
                        ElementsAre("10.0.0.1/24 Ethernet1", "10.0.1.1/24 Ethernet1"));
        }
    }
}

}  // namespace
}  // namespace IpLib
