// How addresses come into the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Testing::Meddler;
using testing::SizeIs;
using Testing::SmBench;

IntfAddrWithMaskKey key(Nimb::IntfId const& intfId, std::string_view addr) {
    return {intfId, Nimb::IpGenAddrWithMask(addr)};
}

TEST(AddressAdmission, AnAddressHasItsRowItsIndexAndItsPlaceInTheSubnetsSet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());

    auto const row = bench.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    ASSERT_TRUE(row);
    EXPECT_EQ(bench.table->intfAddrEntry(row->content()), row);
    EXPECT_EQ(bench.table->intfAddrEntrySetFromSubnet(row->subnet())->intfAddrEntry(row->key()),
              row);
}

TEST(AddressAdmission, TellsOfEveryStep) {
    SmBench bench;
    auto const status = bench.ipStatus("Ethernet1");
    bench.clear();
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "8 addIntfAddr adding ip 10.0.0.1 with subnet 10.0.0.0/24 on Ethernet1",
                            "8 handleIntfAddrEntry ip 10.0.0.1 on Ethernet1 isVirtual false "
                            "isPresent true",
                            "9 addIntfAddr adding ip 10.0.0.1 on Ethernet1",
                            "9 addIntfAddr adding ip 10.0.0.1 in subnet 10.0.0.0/24 on Ethernet1 "
                            "to set, isDeprecated false"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
}

TEST(AddressAdmission, WritesRowThenIndexThenSet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 "
                    "present",
                    "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false present",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 present"));
}

TEST(AddressAdmission, AnAddressAddedTwiceWritesNothingNew) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const row = bench.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    bench.clear();

    bench.sm->addIntfAddrWithMask(key("Ethernet1", "10.0.0.1/24"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 addIntfAddr adding ip 10.0.0.1 with subnet 10.0.0.0/24 on Ethernet1",
                            "9 addIntfAddr adding ip 10.0.0.1 in subnet 10.0.0.0/24 on Ethernet1 "
                            "to set, isDeprecated false"));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_EQ(bench.table->intfAddrEntryFromAddr(row->key()), row);
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressAdmission, AnAddressThatNobodyPublishesIsAddedAsNotDeprecated) {
    SmBench bench;
    bench.sm->addIntfAddrWithMask(key("Ethernet1", "2001:db8::1/64"));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(AddressAdmission, AnAddressThatAnotherInterfaceHasWaits) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.time.advance(5.0);
    bench.clear();

    bench.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("3 addIntfAddr deferring add of ip 10.0.0.1 on Ethernet2 as it has a "
                         "conflict on Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("kernel interface for Ethernet2 isPresent true",
                            "deferring add of ip 10.0.0.1 on Ethernet2 as it has a conflict on "
                            "Ethernet1"));
}

TEST(AddressAdmission, AWaitingAddressGetsItsTurnAfterTheRowHasLeft) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.time.advanceTo(5.0);
    ASSERT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    bench.clear();

    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.traceTexts(), Contains("8 handleIntfAddrEntry ip 10.0.0.1 on Ethernet1 "
                                             "isVirtual false isPresent false"));
    EXPECT_THAT(bench.tracesOf("DeferredIntfAddSm"),
                ElementsAre("8 maybeScheduleTask backlog count is 1",
                            "8 maybeScheduleTask task is scheduled to run in 2 seconds"));
    bench.time.advanceTo(6.75);
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advanceTo(7.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(AddressAdmission, AFreeAddressWaitsWhereAnotherInterfaceHasItsSubnet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.ip("Ethernet2", "10.0.0.2/24");
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));
    EXPECT_THAT(Tremlog::messages(),
                Contains("deferring add of ip 10.0.0.2 on Ethernet2 as it has a conflict on "
                         "Ethernet1"));

    bench.ip("Ethernet1", "");
    bench.time.advance(2.0);
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.2"));
}

TEST(AddressAdmission, TheHolderOfTheAddressIsNamedBeforeTheHolderOfTheSubnet) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.2/25");
    bench.clear();
    bench.ip("Ethernet3", "10.0.0.2/24");
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("kernel interface for Ethernet3 isPresent true",
                            "deferring add of ip 10.0.0.2 on Ethernet3 as it has a conflict on "
                            "Ethernet2"));
}

TEST(AddressAdmission, AnAddressThatWaitsAlreadyIsDeferredOnce) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.clear();
    bench.sm->addIntfAddrWithMask(key("Ethernet2", "10.0.0.1/24"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addIntfAddr ip 10.0.0.1 on Ethernet2 is already in backlog"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_THAT(bench.deferred(), SizeIs(1));
}

TEST(AddressAdmission, ADeferredAddressArmsTheTask) {
    SmBench bench({.deferredIntfAddDelay = 0.5});
    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
    bench.time.advanceTo(1.0);
    bench.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), 1.5);
}

TEST(AddressAdmission, ADeprecatedAddressIsApartInItsSubnetsSet) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.clear();
    bench.ip6("Ethernet1", "2001:db8::2/64", true);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), SizeIs(2));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1 (2001:db8::2)"));
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 addIntfAddr adding ip 2001:db8::2 in subnet 2001:db8::/64 on Ethernet1 "
                         "to set, isDeprecated true"));
}

TEST(AddressAdmission, ADeprecatedAddressAloneHoldsItsSubnet) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64", true);
    bench.ip6("Ethernet2", "2001:db8::2/64");
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 (2001:db8::1)"));
    EXPECT_THAT(bench.deferred(), ElementsAre("2001:db8::2/64 Ethernet2"));
}

TEST(AddressAdmission, DeprecationMovesTheRowWithinItsSet) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    auto const row = bench.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("2001:db8::1")));
    auto const set = bench.table->intfAddrEntrySetFromSubnet(row->subnet());
    Testing::Events events;
    Testing::Recorder<IntfAddrEntrySet> const recorder(set, events);
    bench.clear();

    bench.ip6("Ethernet1", "2001:db8::1/64", true);
    EXPECT_THAT(events,
                ElementsAre("intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false absent",
                            "deprecatedIntfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false "
                            "present"));
    events.clear();
    bench.ip6("Ethernet1", "2001:db8::1/64", false);
    EXPECT_THAT(events,
                ElementsAre("deprecatedIntfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false "
                            "absent",
                            "intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false present"));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_EQ(set->intfAddrEntry(row->key()), row);
    EXPECT_EQ(bench.table->intfAddrEntrySetFromSubnet(row->subnet()), set);
}

TEST(AddressAdmission, AnInterfaceThatTheKernelDoesNotHaveGetsNothingIntoTheTable) {
    SmBench bench;
    bench.kernelDel("Ethernet1");
    bench.ipStatus("Ethernet1");
    bench.clear();
    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "8 handleIntfAddrWithMask kernel interface not present for Ethernet1"));
    bench.ip6("Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.published(), ElementsAre("10.0.0.1/24 Ethernet1", "fe80::1/64 Ethernet1"));
}

TEST(AddressAdmission, KernelInterfacesDoNotMatterWhereTheyAreIgnored) {
    SmBench bench({.ignoreKernelInterfaceState = true});
    bench.kernelDel("Ethernet1");
    bench.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(AddressAdmission, AnAdmittedAddressWaitsNoLonger) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet2", "2001:db8::1/64");
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    ASSERT_THAT(bench.deferred(), SizeIs(1));
    // Any change of it is another try.
    bench.ip6("Ethernet2", "2001:db8::1/64", true);
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet2 (2001:db8::1)"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
    bench.time.advance(2.0);
    EXPECT_THAT(bench.tracesOf("DeferredIntfAddSm"), Contains("8 handleTaskRun work complete"));
}

TEST(AddressAdmission, AnAddressThatNeverWaitedLeavesTheBacklogAsItIs) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.ip("Ethernet3", "10.0.3.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.3.1/24 Ethernet3"));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
}

TEST(AddressAdmission, AnotherPrefixLengthWaitsForTheOldOneOfItsOwnInterface) {
    SmBench bench;
    bench.secondary("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.secondary("Ethernet1", "10.0.0.1/25");
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("deferring add of ip 10.0.0.1 on Ethernet1 as it has a conflict on "
                            "Ethernet1"));
    bench.secondaryDel("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advanceTo(1.75);
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advanceTo(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/25 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/25 Ethernet1 10.0.0.1"));
}

TEST(AddressAdmission, AnotherPrefixLengthOfThePrimaryIsAdmittedAtOnce) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet1", "10.0.0.1/25");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/25 Ethernet1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(AddressAdmission, OverlappingSubnetsOfDifferentLengthsDoNotConflict) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/16");
    bench.ip("Ethernet2", "10.0.0.2/24");
    EXPECT_THAT(bench.sets(),
                ElementsAre("10.0.0.0/16 Ethernet1 10.0.0.1", "10.0.0.0/24 Ethernet2 10.0.0.2"));
}

TEST(AddressAdmission, TheViewByInterfaceHasEveryPublishedAddressAndNoEmptyRecord) {
    SmBench bench;
    bench.kernelDel("Ethernet2");
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip("Ethernet2", "10.0.0.1/24");
    auto const& all = *bench.sm->allIntfAddrWithMask();
    ASSERT_THAT(all.byIntfId(), SizeIs(2));
    EXPECT_THAT(all.byIntfId("Ethernet1")->byIntfId(), SizeIs(2));
    EXPECT_TRUE(all.byIntfId("Ethernet1")->byIntfIdHas(key("Ethernet1", "2001:db8::1/64")));
    EXPECT_TRUE(all.byIntfId("Ethernet2")->byIntfIdHas(key("Ethernet2", "10.0.0.1/24")));

    bench.ip("Ethernet1", "");
    EXPECT_THAT(all.byIntfId("Ethernet1")->byIntfId(), SizeIs(1));
    bench.ip6StatusDel("Ethernet1");
    EXPECT_EQ(all.byIntfId("Ethernet1"), nullptr);
    bench.ip("Ethernet2", "");
    EXPECT_TRUE(all.byIntfId().empty());
}

TEST(AddressAdmission, ARowThatTheIndexDoesNotKnowIsAnUnexpectedConflict) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const row = bench.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    bench.table->intfAddrEntryDel(row->content());
    try {
        bench.sm->addIntfAddrWithMask(key("Ethernet1", "10.0.0.1/24"));
        FAIL() << "accepted";
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        EXPECT_EQ(error.function(), "addIntfAddr");
        EXPECT_EQ(error.message(),
                  "ip 10.0.0.1 in subnet 10.0.0.0/24 on Ethernet1 has unexpected conflict on "
                  "Ethernet1");
    }
}

// The notifications of an admission, by what their text contains.
char const* const admissionSteps[] = {"intfAddrEntry intfId=;addr=10.0.0.1",
                                      "intfAddrEntryFromAddr", "intfAddrEntrySetFromSubnet"};

TEST(AddressAdmission, AnObserverMayTakeTheAddressAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        SmBench bench;
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet1", ""); });
        bench.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), IsEmpty()) << step;
        EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(bench.sets(), IsEmpty()) << step;
    }
}

TEST(AddressAdmission, AnObserverMayReplaceThePrimaryAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        SmBench bench;
        Meddler const meddler(bench, step, [&] { bench.ip("Ethernet1", "10.0.0.2/24"); });
        bench.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2")) << step;
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheStatusAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmBench bench({.intfCleanupDelay = delay});
            Meddler const meddler(bench, step, [&] { bench.ipStatusDel("Ethernet1"); });
            bench.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet1"), nullptr);
            bench.time.advance(2.0);
            EXPECT_THAT(bench.rows(), IsEmpty()) << step;
            EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
            EXPECT_THAT(bench.sets(), IsEmpty()) << step;
        }
    }
}

TEST(AddressAdmission, AnObserverMayReplaceTheStatusAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            for (auto const* const addr : {"10.0.0.1/24", "10.0.0.2/24"}) {
                SmBench bench({.intfCleanupDelay = delay});
                auto const status = Ip::ipIntfStatusFactory("Ethernet1");
                status->activeAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
                Meddler const meddler(bench, step, [&] { bench.vrfIp->ipIntfStatusIs(status); });
                bench.ip("Ethernet1", "10.0.0.1/24");
                ASSERT_TRUE(meddler.done());
                bench.time.advance(2.0);
                EXPECT_THAT(bench.rows(), ElementsAre(fmt::format("{} Ethernet1", addr))) << step;
                EXPECT_THAT(bench.rowsByAddr(), ElementsAre(fmt::format("{} Ethernet1", addr)))
                    << step;
                EXPECT_THAT(bench.sets(), ElementsAre(HasSubstr("10.0.0.0/24 Ethernet1 10.0.0.")))
                    << step;
            }
        }
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheMachineAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmBench bench({.intfCleanupDelay = delay});
            Meddler const meddler(bench, step, [&] { bench.smDel(); });
            bench.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_EQ(bench.sm, nullptr);
            EXPECT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);
            if (delay == 0.0) {
                EXPECT_THAT(bench.rows(), IsEmpty()) << step;
                EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
                EXPECT_THAT(bench.sets(), IsEmpty()) << step;
            }
        }
    }
}

TEST(AddressAdmission, AnObserverMayAskForTheSubnetOnAnotherInterfaceAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (auto const* const addr : {"10.0.0.1/24", "10.0.0.2/24"}) {
            SmBench bench;
            Meddler const meddler(bench, step, [&] { bench.ip("Ethernet2", addr); });
            bench.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
            EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
            EXPECT_THAT(bench.deferred(), ElementsAre(fmt::format("{} Ethernet2", addr))) << step;
        }
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheTablesStatusAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        SmBench bench({.intfCleanupDelay = 0.0});
        Meddler const meddler(bench, step, [&] { bench.table->vrfIpIntfStatusIs(nullptr); });
        bench.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), IsEmpty()) << step;
        EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(bench.sets(), IsEmpty()) << step;
    }
}

TEST(AddressAdmission, AnObserverMayDeprecateTheAddressAtAnyStep) {
    for (auto const* const step :
         {"intfAddrEntry intfId", "intfAddrEntryFromAddr", "intfAddrEntrySetFromSubnet"}) {
        SmBench bench;
        Meddler const meddler(bench, step, [&] { bench.ip6("Ethernet1", "2001:db8::1/64", true); });
        bench.ip6("Ethernet1", "2001:db8::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 (2001:db8::1)")) << step;
    }
}

}  // namespace
}  // namespace IpLib
