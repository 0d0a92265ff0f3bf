#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Testing::SmBench;
using Testing::Texts;

constexpr IntfAddrVrfTableSmConfig ignoring{.ignoreKernelInterfaceState = true};
constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0};

// "2.5 Ethernet1 in", newest first.
Texts history(SmBench const& bench) {
    Texts texts;
    bench.sm->kniKernelHistory().forEachNewestFirst([&](auto const& change) {
        texts.push_back(
            fmt::format("{} {} {}", change.time, change.intfId, change.isPresent ? "in" : "out"));
    });
    return texts;
}

void askForAll(SmBench& bench) {
    Zin::registeredType("IpLib::IntfAddrVrfTableSm")
        ->attribute("kernelIntfDir")
        ->handleAll(*bench.sm);
}

TEST(KernelPresence, AVanishedDeviceHasBothFamiliesCleanedUpAfterTheDelay) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip("Ethernet2", "10.2.0.1/24");
    bench.time.advanceTo(10.0);
    bench.clear();

    bench.kernelDel("Ethernet1");
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("3 handleKernelIntf kernel interface for Ethernet1 isPresent false",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv4 at 10",
                            "9 addDeferredCleanup cleanup deferred for Ethernet1 af IPv6 at 10"));
    EXPECT_THAT(Tremlog::messages(), ElementsAre("kernel interface for Ethernet1 isPresent false"));
    EXPECT_EQ(history(bench).front(), "10 Ethernet1 out");

    bench.time.advanceTo(11.25);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.2.0.1/24 Ethernet2",
                                          "2001:db8::1/64 Ethernet1"));
    bench.time.advanceTo(11.5);
    EXPECT_THAT(bench.rows(), ElementsAre("10.2.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.2.0.0/24 Ethernet2 10.2.0.1"));
    // They stay published, since their status holds them still.
    EXPECT_THAT(bench.published(), ElementsAre("10.0.0.1/24 Ethernet1", "10.2.0.1/24 Ethernet2",
                                               "2001:db8::1/64 Ethernet1"));
}

TEST(KernelPresence, WithoutADelayAVanishedDeviceIsCleanedUpAtOnce) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.clear();

    bench.kernelDel("Ethernet1");

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv4 immediately"));
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 addDeferredCleanup cleaning up for Ethernet1 af IPv6 immediately"));
}

TEST(KernelPresence, ADeviceThatReturnsInTimeSettlesTheCleanupsAndIsOfferedItsAddressesAgain) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.2/24");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.kernelDel("Ethernet1");
    bench.time.advanceTo(1.0);
    bench.clear();

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.0.2/24 Ethernet1",
                                          "fe80::1/64 Ethernet1"));
    EXPECT_FALSE(
        bench.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv4));
    EXPECT_FALSE(
        bench.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv6));
    auto const traces = bench.traceTexts();
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
    bench.clear();
    bench.time.advanceTo(5.0);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(KernelPresence, ADeviceThatReturnsLateGetsItsAddressesBack) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64", true);
    bench.kernelDel("Ethernet1");
    bench.time.advanceTo(5.0);
    ASSERT_THAT(bench.rows(), IsEmpty());

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                          "2001:db8::/64 Ethernet1 (2001:db8::1)"));
}

TEST(KernelPresence, AnAddressThatAnotherInterfaceHasTakenMeanwhileWaits) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.kernelDel("Ethernet1");
    bench.time.advance(1.5);
    bench.ip("Ethernet2", "10.0.0.1/24");

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(KernelPresence, AnAddressIsRefusedWhileTheDeviceIsAbsentAndAdmittedWhenItComes) {
    SmBench bench;
    bench.kernelDel("Ethernet1");
    bench.time.advanceTo(5.0);
    bench.clear();
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("8 handleIntfAddrWithMask kernel interface not present for Ethernet1"));

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
}

TEST(KernelPresence, ADeviceWithoutAddressesIsRecordedAndItsCleanupsSettled) {
    SmBench bench;
    bench.kernelIs("Ethernet1");
    bench.kernelDel("Ethernet1");
    bench.clear();

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(history(bench), ElementsAre("0 Ethernet1 in", "0 Ethernet1 out", "0 Ethernet1 in",
                                            "0 Ethernet1 in"));
    EXPECT_FALSE(
        bench.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv4));
    EXPECT_FALSE(
        bench.sm->intfCleanupBacklog()->hasBacklog("Ethernet1", Nimb::AddressFamily::ipv6));
    EXPECT_THAT(bench.traceTexts(), Not(Contains(HasSubstr("adding ip"))));
}

TEST(KernelPresence, ADeviceThatVanishesTwiceKeepsTheTimeOfItsFirstCleanup) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.kernelDel("Ethernet1");
    bench.time.advanceTo(1.0);
    bench.sm->handleKernelIntf("Ethernet1");
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 addDeferredCleanup cleanup already pending for Ethernet1 IPv4"));
    bench.time.advanceTo(1.5);
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(KernelPresence, ADeviceThatIsReplacedIsOfferedItsAddressesAgain) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.kernelIs("Ethernet1");
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_EQ(bench.sm->kniKernelHistory().count(), 2u);
}

TEST(KernelPresence, WhereItIsIgnoredChangesAreRecordedAndNothingElse) {
    SmBench bench(ignoring);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();

    bench.kernelDel("Ethernet1");

    EXPECT_THAT(history(bench), ElementsAre("0 Ethernet1 out", "0 Ethernet1 in"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("3 handleKernelIntf kernel interface for Ethernet1 isPresent false"));
    bench.time.advanceTo(10.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));

    // Without its device the interface's addresses are admitted all the same.
    bench.ip("Ethernet1", "10.0.0.2/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1"));
}

TEST(KernelPresence, AskedForByNameEveryDeviceIsHandledInTheDirectorysOrder) {
    SmBench bench;
    bench.kernelIs("Ethernet2");
    bench.kernelIs("Ethernet1");
    bench.clear();

    askForAll(bench);

    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleKernelIntfAll",
                            "3 handleKernelIntf kernel interface for Ethernet2 isPresent true",
                            "3 handleKernelIntf kernel interface for Ethernet1 isPresent true"));
}

TEST(KernelPresence, AskedForByNameWhereItIsIgnoredNothingIsRecorded) {
    SmBench bench(ignoring);
    bench.kernelIs("Ethernet1");
    std::size_t const before = bench.sm->kniKernelHistory().count();
    bench.clear();

    askForAll(bench);

    EXPECT_THAT(bench.traceTexts(), ElementsAre("8 handleKernelIntfAll"));
    EXPECT_EQ(bench.sm->kniKernelHistory().count(), before);
}

TEST(KernelPresence, AskedForByNameAddressesComeBackThatAMutedMachineMissed) {
    SmBench bench;
    bench.kernelDel("Ethernet1");
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.sm->hasNotificationActiveIs(false);
    bench.kernelIs("Ethernet1");
    bench.sm->hasNotificationActiveIs(true);
    ASSERT_THAT(bench.rows(), IsEmpty());

    askForAll(bench);

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(KernelPresence, WithoutADirectoryNoDeviceIsPresent) {
    SmBench bench;
    bench.smDel();
    auto const sm = intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), bench.config,
                                              bench.time.scheduler(), bench.virtualIp,
                                              bench.virtualIp6, nullptr, bench.table);
    bench.clear();
    sm->handleKernelIntf("Ethernet1");
    sm->handleKernelIntfAll();
    EXPECT_THAT(bench.traceTexts(),
                Contains("3 handleKernelIntf kernel interface for Ethernet1 isPresent false"));
    EXPECT_EQ(sm->kniKernelHistory().count(), 1u);
}

TEST(KernelPresence, ChangesBearTheTimeOfTheClockAlsoWhereItStandsStill) {
    SmBench bench;
    bench.time.advanceTo(2.5);
    bench.kernelIs("Ethernet1");
    bench.kernelDel("Ethernet1");
    bench.time.advanceTo(2.75);
    bench.kernelIs("Ethernet1");
    EXPECT_THAT(history(bench), ElementsAre("2.75 Ethernet1 in", "2.5 Ethernet1 out",
                                            "2.5 Ethernet1 in", "2.5 Ethernet1 in"));
}

TEST(KernelPresence, AnObserverOfTheAddressesThatComeBackMayTakeTheDeviceAway) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    bench.kernelDel("Ethernet1");
    ASSERT_THAT(bench.rows(), IsEmpty());
    Testing::Meddler const meddler(bench, "", [&] { bench.kernelDel("Ethernet1"); });

    bench.kernelIs("Ethernet1");

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.sets(), IsEmpty());
}

TEST(KernelPresence, AnObserverMayWithdrawAnAddressBeforeItsDeviceIsReportedAgain) {
    for (auto const* const addr : {"10.0.0.1/24", "10.2.0.1/24"}) {
        SmBench bench;
        bench.ip("Ethernet1", addr);
        Testing::Meddler const meddler(bench, "addr=10.3.0.1", [&] {
            bench.ip("Ethernet1", "");
            bench.ip("Ethernet2", "10.2.0.1/24");
            bench.kernelIs("Ethernet1");
        });
        bench.ip("Ethernet3", "10.3.0.1/24");
        ASSERT_TRUE(meddler.done());
        bench.time.advance(100.0);
        EXPECT_THAT(bench.rows(), ElementsAre("10.2.0.1/24 Ethernet2", "10.3.0.1/24 Ethernet3"));
        EXPECT_THAT(bench.deferred(), IsEmpty());
    }
}

TEST(KernelPresence, AnObserverMayWithdrawALinkLocalAddressBeforeItsDeviceIsReportedAgain) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    Testing::Meddler const meddler(bench, "addr=10.3.0.1", [&] {
        bench.ip6Del("Ethernet1", "fe80::1/64");
        bench.kernelIs("Ethernet1");
    });
    bench.ip("Ethernet3", "10.3.0.1/24");
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.rows(), ElementsAre("10.3.0.1/24 Ethernet3"));
}

TEST(KernelPresence, AnObserverOfACleanupMayBringTheDeviceBack) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    Testing::Meddler const meddler(bench, "intfAddrEntry intfId=;addr=10.0.0.1",
                                   [&] { bench.kernelIs("Ethernet1"); });
    bench.kernelDel("Ethernet1");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                          "2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(KernelPresence, AMachineThatIsBroughtDownByItsCleanupLeavesTheTableToItsSuccessor) {
    SmBench bench(atOnce);
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    Testing::Meddler const meddler(bench, "", [&] {
        bench.kernelIs("Ethernet1");
        bench.sm->retire();
        bench.smIs();
    });

    bench.kernelDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(),
                ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1",
                                          "2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(KernelPresence, AMachineThatIsBroughtDownByWhatItAdmitsAdmitsTheRestFirst) {
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SmBench bench({.intfCleanupDelay = delay});
        bench.ip("Ethernet1", "10.0.0.1/24");
        bench.secondary("Ethernet1", "10.0.1.1/24");
        bench.kernelDel("Ethernet1");
        bench.time.advance(delay);
        ASSERT_THAT(bench.rows(), IsEmpty());
        Testing::Meddler const meddler(bench, "", [&] { bench.sm->retire(); });

        bench.kernelIs("Ethernet1");

        // As if it had been brought down right after.
        if (delay == 0.0) {
            EXPECT_THAT(bench.rows(), IsEmpty());
        } else {
            EXPECT_THAT(bench.rows(),
                        ElementsAre("10.0.0.1/24 Ethernet1", "10.0.1.1/24 Ethernet1"));
        }
    }
}

}  // namespace
}  // namespace IpLib
