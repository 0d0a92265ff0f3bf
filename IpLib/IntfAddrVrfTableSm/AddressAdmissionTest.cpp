// How addresses come into the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using TestKit::Meddler;
using TestKit::SmFixture;

IntfAddrWithMaskKey key(Nimb::IntfId const& intfId, std::string_view addr) {
    return {intfId, Nimb::IpGenAddrWithMask(addr)};
}

TEST(AddressAdmission, AnAddressHasItsRowItsIndexAndItsPlaceInTheSubnetsSet) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());

    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    ASSERT_TRUE(row);
    EXPECT_EQ(fixture.table->intfAddrEntry(row->content()), row);
    EXPECT_EQ(fixture.table->intfAddrEntrySetFromSubnet(row->subnet())->intfAddrEntry(row->key()),
              row);
}

TEST(AddressAdmission, TellsOfEveryStep) {
    SmFixture fixture;
    auto const status = fixture.ipStatus("Ethernet1");
    fixture.clear();
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    EXPECT_THAT(fixture.traceTexts(),
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
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(
        fixture.events,
        ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 "
                    "present",
                    "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false present",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 present"));
}

TEST(AddressAdmission, AnAddressAddedTwiceWritesNothingNew) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.clear();

    fixture.sm->addIntfAddrWithMask(key("Ethernet1", "10.0.0.1/24"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 addIntfAddr adding ip 10.0.0.1 with subnet 10.0.0.0/24 on Ethernet1",
                            "9 addIntfAddr adding ip 10.0.0.1 in subnet 10.0.0.0/24 on Ethernet1 "
                            "to set, isDeprecated false"));
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_EQ(fixture.table->intfAddrEntryFromAddr(row->key()), row);
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(AddressAdmission, AnAddressThatNobodyPublishesIsAddedAsNotDeprecated) {
    SmFixture fixture;
    fixture.sm->addIntfAddrWithMask(key("Ethernet1", "2001:db8::1/64"));
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1"));
}

TEST(AddressAdmission, AnAddressThatAnotherInterfaceHasWaits) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.time.advance(5.0);
    fixture.clear();

    fixture.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                Contains("3 addIntfAddr deferring add of ip 10.0.0.1 on Ethernet2 as it has a "
                         "conflict on Ethernet1"));
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("kernel interface for Ethernet2 isPresent true",
                            "deferring add of ip 10.0.0.1 on Ethernet2 as it has a conflict on "
                            "Ethernet1"));
}

TEST(AddressAdmission, AWaitingAddressGetsItsTurnAfterTheRowHasLeft) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.time.advanceTo(5.0);
    ASSERT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    fixture.clear();

    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.traceTexts(), Contains("8 handleIntfAddrEntry ip 10.0.0.1 on Ethernet1 "
                                               "isVirtual false isPresent false"));
    EXPECT_THAT(fixture.tracesOf("DeferredIntfAddSm"),
                ElementsAre("8 maybeScheduleTask backlog count is 1",
                            "8 maybeScheduleTask task is scheduled to run in 2 seconds"));
    fixture.time.advanceTo(6.75);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.time.advanceTo(7.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet2"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(AddressAdmission, AFreeAddressWaitsWhereAnotherInterfaceHasItsSubnet) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.ip("Ethernet2", "10.0.0.2/24");
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));
    EXPECT_THAT(Tremlog::messages(),
                Contains("deferring add of ip 10.0.0.2 on Ethernet2 as it has a conflict on "
                         "Ethernet1"));

    fixture.ip("Ethernet1", "");
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.2"));
}

TEST(AddressAdmission, TheHolderOfTheAddressIsNamedBeforeTheHolderOfTheSubnet) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.2/25");
    fixture.clear();
    fixture.ip("Ethernet3", "10.0.0.2/24");
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("kernel interface for Ethernet3 isPresent true",
                            "deferring add of ip 10.0.0.2 on Ethernet3 as it has a conflict on "
                            "Ethernet2"));
}

TEST(AddressAdmission, AnAddressThatWaitsAlreadyIsDeferredOnce) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.clear();
    fixture.sm->addIntfAddrWithMask(key("Ethernet2", "10.0.0.1/24"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("9 addIntfAddr ip 10.0.0.1 on Ethernet2 is already in backlog"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), SizeIs(1));
}

TEST(AddressAdmission, ADeferredAddressArmsTheTask) {
    SmFixture fixture({.deferredIntfAddDelay = 0.5});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
    fixture.time.advanceTo(1.0);
    fixture.ip("Ethernet2", "10.0.0.1/24");
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), 1.5);
}

TEST(AddressAdmission, ADeprecatedAddressIsApartInItsSubnetsSet) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.clear();
    fixture.ip6("Ethernet1", "2001:db8::2/64", true);
    EXPECT_THAT(fixture.rows(),
                ElementsAre("2001:db8::1/64 Ethernet1", "2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), SizeIs(2));
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::1 (2001:db8::2)"));
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 addIntfAddr adding ip 2001:db8::2 in subnet 2001:db8::/64 on Ethernet1 "
                         "to set, isDeprecated true"));
}

TEST(AddressAdmission, ADeprecatedAddressAloneHoldsItsSubnet) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64", true);
    fixture.ip6("Ethernet2", "2001:db8::2/64");
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 (2001:db8::1)"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("2001:db8::2/64 Ethernet2"));
}

TEST(AddressAdmission, DeprecationMovesTheRowWithinItsSet) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("2001:db8::1")));
    auto const set = fixture.table->intfAddrEntrySetFromSubnet(row->subnet());
    TestKit::Events events;
    TestKit::Recorder<IntfAddrEntrySet> const recorder(set, events);
    fixture.clear();

    fixture.ip6("Ethernet1", "2001:db8::1/64", true);
    EXPECT_THAT(events,
                ElementsAre("intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false absent",
                            "deprecatedIntfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false "
                            "present"));
    events.clear();
    fixture.ip6("Ethernet1", "2001:db8::1/64", false);
    EXPECT_THAT(events,
                ElementsAre("deprecatedIntfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false "
                            "absent",
                            "intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=false present"));
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_EQ(set->intfAddrEntry(row->key()), row);
    EXPECT_EQ(fixture.table->intfAddrEntrySetFromSubnet(row->subnet()), set);
}

TEST(AddressAdmission, AnInterfaceThatTheKernelDoesNotHaveGetsNothingIntoTheTable) {
    SmFixture fixture;
    fixture.kernelDel("Ethernet1");
    fixture.ipStatus("Ethernet1");
    fixture.clear();
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip 10.0.0.1 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "8 handleIntfAddrWithMask kernel interface not present for Ethernet1"));
    fixture.ip6("Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1", "fe80::1/64 Ethernet1"));
}

TEST(AddressAdmission, KernelInterfacesDoNotMatterWhereTheyAreIgnored) {
    SmFixture fixture({.ignoreKernelInterfaceState = true});
    fixture.kernelDel("Ethernet1");
    fixture.ip("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(AddressAdmission, AnAdmittedAddressWaitsNoLonger) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet2", "2001:db8::1/64");
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    ASSERT_THAT(fixture.deferred(), SizeIs(1));
    // Any change of it is another try.
    fixture.ip6("Ethernet2", "2001:db8::1/64", true);
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet2 (2001:db8::1)"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.tracesOf("DeferredIntfAddSm"), Contains("8 handleTaskRun work complete"));
}

TEST(AddressAdmission, AnAddressThatNeverWaitedLeavesTheBacklogAsItIs) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.ip("Ethernet3", "10.0.3.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.0.3.1/24 Ethernet3"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
}

TEST(AddressAdmission, AnotherPrefixLengthWaitsForTheOldOneOfItsOwnInterface) {
    SmFixture fixture;
    fixture.secondary("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.secondary("Ethernet1", "10.0.0.1/25");
    EXPECT_THAT(Tremlog::messages(),
                ElementsAre("deferring add of ip 10.0.0.1 on Ethernet1 as it has a conflict on "
                            "Ethernet1"));
    fixture.secondaryDel("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.time.advanceTo(1.75);
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.time.advanceTo(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/25 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/25 Ethernet1 10.0.0.1"));
}

TEST(AddressAdmission, AnotherPrefixLengthOfThePrimaryIsAdmittedAtOnce) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet1", "10.0.0.1/25");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/25 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(AddressAdmission, OverlappingSubnetsOfDifferentLengthsDoNotConflict) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/16");
    fixture.ip("Ethernet2", "10.0.0.2/24");
    EXPECT_THAT(fixture.sets(),
                ElementsAre("10.0.0.0/16 Ethernet1 10.0.0.1", "10.0.0.0/24 Ethernet2 10.0.0.2"));
}

TEST(AddressAdmission, TheViewByInterfaceHasEveryPublishedAddressAndNoEmptyRecord) {
    SmFixture fixture;
    fixture.kernelDel("Ethernet2");
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    auto const& all = *fixture.sm->allIntfAddrWithMask();
    ASSERT_THAT(all.byIntfId(), SizeIs(2));
    EXPECT_THAT(all.byIntfId("Ethernet1")->byIntfId(), SizeIs(2));
    EXPECT_TRUE(all.byIntfId("Ethernet1")->byIntfIdHas(key("Ethernet1", "2001:db8::1/64")));
    EXPECT_TRUE(all.byIntfId("Ethernet2")->byIntfIdHas(key("Ethernet2", "10.0.0.1/24")));

    fixture.ip("Ethernet1", "");
    EXPECT_THAT(all.byIntfId("Ethernet1")->byIntfId(), SizeIs(1));
    fixture.ip6StatusDel("Ethernet1");
    EXPECT_EQ(all.byIntfId("Ethernet1"), nullptr);
    fixture.ip("Ethernet2", "");
    EXPECT_TRUE(all.byIntfId().empty());
}

TEST(AddressAdmission, ARowThatTheIndexDoesNotKnowIsAnUnexpectedConflict) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.table->intfAddrEntryDel(row->content());
    try {
        fixture.sm->addIntfAddrWithMask(key("Ethernet1", "10.0.0.1/24"));
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
        SmFixture fixture;
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet1", ""); });
        fixture.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
        EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(fixture.sets(), IsEmpty()) << step;
    }
}

TEST(AddressAdmission, AnObserverMayReplaceThePrimaryAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        SmFixture fixture;
        Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet1", "10.0.0.2/24"); });
        fixture.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.2/24 Ethernet1")) << step;
        EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.2")) << step;
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheStatusAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmFixture fixture({.intfCleanupDelay = delay});
            Meddler const meddler(fixture, step, [&] { fixture.ipStatusDel("Ethernet1"); });
            fixture.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet1"), nullptr);
            fixture.time.advance(2.0);
            EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
            EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
            EXPECT_THAT(fixture.sets(), IsEmpty()) << step;
        }
    }
}

TEST(AddressAdmission, AnObserverMayReplaceTheStatusAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            for (auto const* const addr : {"10.0.0.1/24", "10.0.0.2/24"}) {
                SmFixture fixture({.intfCleanupDelay = delay});
                auto const status = Ip::ipIntfStatusFactory("Ethernet1");
                status->activeAddrWithMaskIs(Nimb::IpAddrWithMask(addr));
                Meddler const meddler(fixture, step,
                                      [&] { fixture.vrfIp->ipIntfStatusIs(status); });
                fixture.ip("Ethernet1", "10.0.0.1/24");
                ASSERT_TRUE(meddler.done());
                fixture.time.advance(2.0);
                EXPECT_THAT(fixture.rows(), ElementsAre(fmt::format("{} Ethernet1", addr))) << step;
                EXPECT_THAT(fixture.rowsByAddr(), ElementsAre(fmt::format("{} Ethernet1", addr)))
                    << step;
                EXPECT_THAT(fixture.sets(), ElementsAre(HasSubstr("10.0.0.0/24 Ethernet1 10.0.0.")))
                    << step;
            }
        }
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheMachineAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmFixture fixture({.intfCleanupDelay = delay});
            Meddler const meddler(fixture, step, [&] { fixture.smDel(); });
            fixture.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_EQ(fixture.sm, nullptr);
            EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
            if (delay == 0.0) {
                EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
                EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
                EXPECT_THAT(fixture.sets(), IsEmpty()) << step;
            }
        }
    }
}

TEST(AddressAdmission, AnObserverMayAskForTheSubnetOnAnotherInterfaceAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        for (auto const* const addr : {"10.0.0.1/24", "10.0.0.2/24"}) {
            SmFixture fixture;
            Meddler const meddler(fixture, step, [&] { fixture.ip("Ethernet2", addr); });
            fixture.ip("Ethernet1", "10.0.0.1/24");
            ASSERT_TRUE(meddler.done());
            EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1")) << step;
            EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1")) << step;
            EXPECT_THAT(fixture.deferred(), ElementsAre(fmt::format("{} Ethernet2", addr))) << step;
        }
    }
}

TEST(AddressAdmission, AnObserverMayTakeTheTablesStatusAwayAtAnyStep) {
    for (auto const* const step : admissionSteps) {
        SmFixture fixture({.intfCleanupDelay = 0.0});
        Meddler const meddler(fixture, step, [&] { fixture.table->vrfIpIntfStatusIs(nullptr); });
        fixture.ip("Ethernet1", "10.0.0.1/24");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
        EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(fixture.sets(), IsEmpty()) << step;
    }
}

TEST(AddressAdmission, AnObserverMayDeprecateTheAddressAtAnyStep) {
    for (auto const* const step :
         {"intfAddrEntry intfId", "intfAddrEntryFromAddr", "intfAddrEntrySetFromSubnet"}) {
        SmFixture fixture;
        Meddler const meddler(fixture, step,
                              [&] { fixture.ip6("Ethernet1", "2001:db8::1/64", true); });
        fixture.ip6("Ethernet1", "2001:db8::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 (2001:db8::1)")) << step;
    }
}

}  // namespace
}  // namespace IpLib
