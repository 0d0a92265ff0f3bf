// IPv6 link-local addresses in the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using TestKit::Meddler;
using TestKit::SmFixture;

TEST(LinkLocal, HasARowAnIndexEntryAndTheInterfacesLinkLocalEntryAndNoSet) {
    SmFixture fixture;
    auto const status = fixture.ip6Status("Ethernet1");
    fixture.clear();
    fixture.ip6("Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfAddrEntry intfId=Ethernet1;addr=fe80::1;virtualIp=false;"
                            "subnet=fe80::/64 present",
                            "intfAddrEntryFromAddr intfId=Ethernet1;addr=fe80::1;virtualIp=false "
                            "present",
                            "llIntfAddrEntryFromIntfId Ethernet1 present"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::1 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "9 addIp6LinkLocal adding ip fe80::1 on Ethernet1",
                            "8 handleIntfAddrEntry ip fe80::1 on Ethernet1 isVirtual false "
                            "isPresent true"));
    auto const row = fixture.table->llIntfAddrEntryFromIntfId("Ethernet1");
    EXPECT_EQ(row->key(), IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "Ethernet1"));
    EXPECT_EQ(fixture.table->intfAddrEntryFromAddr(row->key()), row);
    EXPECT_EQ(fixture.table->intfAddrEntry(row->content()), row);
}

TEST(LinkLocal, TheSameAddressStandsOnTwoInterfacesUnderTwoKeys) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet2", "fe80::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_NE(fixture.table->llIntfAddrEntryFromIntfId("Ethernet1")->key(),
              fixture.table->llIntfAddrEntryFromIntfId("Ethernet2")->key());
    EXPECT_THAT(fixture.deferred(), IsEmpty());

    fixture.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet2"));
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet2"));
}

TEST(LinkLocal, ASecondAddressOfTheInterfaceWaits) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.clear();
    fixture.ip6("Ethernet1", "fe80::2/64");
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("fe80::2/64 Ethernet1"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::2 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "9 addIp6LinkLocal deferring ip fe80::2 on Ethernet1 while waiting for "
                            "existing ip fe80::1 to be cleaned up"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_THAT(fixture.tracesOf("DeferredIntfAddSm"),
                ElementsAre("8 maybeScheduleTask backlog count is 1",
                            "8 maybeScheduleTask task is scheduled to run in 2 seconds"));
}

TEST(LinkLocal, AnAddressThatWaitsIsDeferredOnce) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet1", "fe80::2/64");
    fixture.clear();
    fixture.sm->addIntfAddrWithMask({"Ethernet1", Nimb::IpGenAddrWithMask("fe80::2/64")});
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
    EXPECT_THAT(fixture.deferred(), SizeIs(1));
}

TEST(LinkLocal, RemovingTheAdmittedOneClearsTheEntryAndTheNextComesWithTheTask) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::2/64");
    fixture.ip6("Ethernet1", "fe80::3/64");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.time.advanceTo(10.0);
    fixture.clear();
    fixture.ip6Del("Ethernet1", "fe80::2/64");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfAddrEntry intfId=Ethernet1;addr=fe80::2;virtualIp=false;"
                            "subnet=fe80::/64 absent",
                            "intfAddrEntryFromAddr intfId=Ethernet1;addr=fe80::2;virtualIp=false "
                            "absent",
                            "llIntfAddrEntryFromIntfId Ethernet1 absent"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::2 on Ethernet1 isPresent false "
                            "cleanupPresent false",
                            "8 handleIntfAddrEntry ip fe80::2 on Ethernet1 isVirtual false "
                            "isPresent false",
                            "9 removeIp6LinkLocal removing ip fe80::2 on Ethernet1"));

    fixture.time.advanceTo(11.75);
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    fixture.time.advanceTo(12.0);
    // The one that came first, not the lowest.
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::3/64 Ethernet1"));
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::3/64 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("fe80::1/64 Ethernet1"));
}

TEST(LinkLocal, RemovingAWaitingOneLeavesTheAdmittedOne) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet1", "fe80::2/64");
    fixture.clear();
    fixture.ip6Del("Ethernet1", "fe80::2/64");
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
    EXPECT_THAT(fixture.traceTexts(),
                Contains("9 removeIntfAddrWithMask removing deferred ip fe80::2 on Ethernet1"));
}

TEST(LinkLocal, TheAdmittedAddressAddedAgainIsIgnored) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    auto const row = fixture.table->llIntfAddrEntryFromIntfId("Ethernet1");
    fixture.clear();
    fixture.sm->addIntfAddrWithMask({"Ethernet1", Nimb::IpGenAddrWithMask("fe80::1/64")});
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("9 addIp6LinkLocal ignoring ip fe80::1 on Ethernet1 as it already "
                            "exists"));
    // With another prefix length too.
    fixture.ip6("Ethernet1", "fe80::1/10");
    EXPECT_THAT(fixture.traceTexts(),
                Contains("8 handleIntfAddrWithMask ip fe80::1 on Ethernet1 isPresent true "
                         "cleanupPresent false"));
    EXPECT_EQ(fixture.traceTexts().back(),
              "9 addIp6LinkLocal ignoring ip fe80::1 on Ethernet1 as it already exists");
    EXPECT_EQ(fixture.table->llIntfAddrEntryFromIntfId("Ethernet1"), row);
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(LinkLocal, DoesNotTakeItsInterfacesGlobalAddressesIntoAccount) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    fixture.ip6("Ethernet1", "2001:db8::2/64");
    fixture.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::2"));
}

TEST(LinkLocal, TheInterfacesStatusTakesItAlong) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet2", "fe80::1/64");
    fixture.ip6StatusDel("Ethernet1");
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet2"));
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet2"));
}

char const* const steps[] = {"subnet=fe80::/64", "intfAddrEntryFromAddr", "llIntfAddrEntry"};

TEST(LinkLocal, AnObserverMayTakeItAwayAtAnyStepOfItsComing) {
    for (auto const* const step : steps) {
        SmFixture fixture;
        Meddler const meddler(fixture, step, [&] { fixture.ip6Del("Ethernet1", "fe80::1/64"); });
        fixture.ip6("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), IsEmpty()) << step;
        EXPECT_THAT(fixture.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(fixture.linkLocals(), IsEmpty()) << step;
    }
}

TEST(LinkLocal, AnObserverMayBringItBackAtAnyStepOfItsGoing) {
    for (auto const* const step : steps) {
        SmFixture fixture;
        fixture.ip6("Ethernet1", "fe80::1/64");
        Meddler const meddler(fixture, step, [&] { fixture.ip6("Ethernet1", "fe80::1/64"); });
        fixture.ip6Del("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(fixture.rows(), ElementsAre("fe80::1/64 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1")) << step;
        EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::1/64 Ethernet1")) << step;
    }
}

TEST(LinkLocal, AnObserverMayReplaceItAtAnyStepOfItsGoing) {
    for (auto const* const step : steps) {
        SmFixture fixture;
        fixture.ip6("Ethernet1", "fe80::1/64");
        Meddler const meddler(fixture, step, [&] { fixture.ip6("Ethernet1", "fe80::2/64"); });
        fixture.ip6Del("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        fixture.time.advance(2.0);
        EXPECT_THAT(fixture.rows(), ElementsAre("fe80::2/64 Ethernet1")) << step;
        EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("fe80::2/64 Ethernet1")) << step;
        EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::2/64 Ethernet1")) << step;
    }
}

TEST(LinkLocal, AnObserverMayReplaceTheStatusAtAnyStepOfItsComing) {
    for (auto const* const step : steps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmFixture fixture({.intfCleanupDelay = delay});
            auto const status = Ip6::intfStatusFactory("Ethernet1");
            status->addrIs(Nimb::Ip6AddrWithMask("fe80::2/64"), {});
            Meddler const meddler(fixture, step, [&] { fixture.vrfIp6->intfStatusIs(status); });
            fixture.ip6("Ethernet1", "fe80::1/64");
            ASSERT_TRUE(meddler.done());
            fixture.time.advance(4.0);
            EXPECT_THAT(fixture.rows(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
            EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
            EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
        }
    }
}

}  // namespace
}  // namespace IpLib
