// IPv6 link-local addresses in the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Meddler;
using testing::SizeIs;
using Testing::SmBench;

TEST(LinkLocal, HasARowAnIndexEntryAndTheInterfacesLinkLocalEntryAndNoSet) {
    SmBench bench;
    auto const status = bench.ip6Status("Ethernet1");
    bench.clear();
    bench.ip6("Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfAddrEntry intfId=Ethernet1;addr=fe80::1;virtualIp=false;"
                            "subnet=fe80::/64 present",
                            "intfAddrEntryFromAddr intfId=Ethernet1;addr=fe80::1;virtualIp=false "
                            "present",
                            "llIntfAddrEntryFromIntfId Ethernet1 present"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::1 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "9 addIp6LinkLocal adding ip fe80::1 on Ethernet1",
                            "8 handleIntfAddrEntry ip fe80::1 on Ethernet1 isVirtual false "
                            "isPresent true"));
    auto const row = bench.table->llIntfAddrEntryFromIntfId("Ethernet1");
    EXPECT_EQ(row->key(), IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "Ethernet1"));
    EXPECT_EQ(bench.table->intfAddrEntryFromAddr(row->key()), row);
    EXPECT_EQ(bench.table->intfAddrEntry(row->content()), row);
}

TEST(LinkLocal, TheSameAddressStandsOnTwoInterfacesUnderTwoKeys) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet2", "fe80::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1", "fe80::1/64 Ethernet2"));
    EXPECT_NE(bench.table->llIntfAddrEntryFromIntfId("Ethernet1")->key(),
              bench.table->llIntfAddrEntryFromIntfId("Ethernet2")->key());
    EXPECT_THAT(bench.deferred(), IsEmpty());

    bench.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet2"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet2"));
}

TEST(LinkLocal, ASecondAddressOfTheInterfaceWaits) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.clear();
    bench.ip6("Ethernet1", "fe80::2/64");
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.deferred(), ElementsAre("fe80::2/64 Ethernet1"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::2 on Ethernet1 isPresent true "
                            "cleanupPresent false",
                            "9 addIp6LinkLocal deferring ip fe80::2 on Ethernet1 while waiting for "
                            "existing ip fe80::1 to be cleaned up"));
    EXPECT_THAT(Tremlog::messages(), IsEmpty());
    EXPECT_THAT(bench.tracesOf("DeferredIntfAddSm"),
                ElementsAre("8 maybeScheduleTask backlog count is 1",
                            "8 maybeScheduleTask task is scheduled to run in 2 seconds"));
}

TEST(LinkLocal, AnAddressThatWaitsIsDeferredOnce) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.clear();
    bench.sm->addIntfAddrWithMask({"Ethernet1", Nimb::IpGenAddrWithMask("fe80::2/64")});
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
    EXPECT_THAT(bench.deferred(), SizeIs(1));
}

TEST(LinkLocal, RemovingTheAdmittedOneClearsTheEntryAndTheNextComesWithTheTask) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.ip6("Ethernet1", "fe80::3/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.time.advanceTo(10.0);
    bench.clear();
    bench.ip6Del("Ethernet1", "fe80::2/64");
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfAddrEntry intfId=Ethernet1;addr=fe80::2;virtualIp=false;"
                            "subnet=fe80::/64 absent",
                            "intfAddrEntryFromAddr intfId=Ethernet1;addr=fe80::2;virtualIp=false "
                            "absent",
                            "llIntfAddrEntryFromIntfId Ethernet1 absent"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleIntfAddrWithMask ip fe80::2 on Ethernet1 isPresent false "
                            "cleanupPresent false",
                            "8 handleIntfAddrEntry ip fe80::2 on Ethernet1 isVirtual false "
                            "isPresent false",
                            "9 removeIp6LinkLocal removing ip fe80::2 on Ethernet1"));

    bench.time.advanceTo(11.75);
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    bench.time.advanceTo(12.0);
    // The one that came first, not the lowest.
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::3/64 Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::3/64 Ethernet1"));
    EXPECT_THAT(bench.deferred(), ElementsAre("fe80::1/64 Ethernet1"));
}

TEST(LinkLocal, RemovingAWaitingOneLeavesTheAdmittedOne) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.clear();
    bench.ip6Del("Ethernet1", "fe80::2/64");
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.traceTexts(),
                Contains("9 removeIntfAddrWithMask removing deferred ip fe80::2 on Ethernet1"));
}

TEST(LinkLocal, TheAdmittedAddressAddedAgainIsIgnored) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    auto const row = bench.table->llIntfAddrEntryFromIntfId("Ethernet1");
    bench.clear();
    bench.sm->addIntfAddrWithMask({"Ethernet1", Nimb::IpGenAddrWithMask("fe80::1/64")});
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("9 addIp6LinkLocal ignoring ip fe80::1 on Ethernet1 as it already "
                            "exists"));
    // With another prefix length too.
    bench.ip6("Ethernet1", "fe80::1/10");
    EXPECT_THAT(bench.traceTexts(),
                Contains("8 handleIntfAddrWithMask ip fe80::1 on Ethernet1 isPresent true "
                         "cleanupPresent false"));
    EXPECT_EQ(bench.traceTexts().back(),
              "9 addIp6LinkLocal ignoring ip fe80::1 on Ethernet1 as it already exists");
    EXPECT_EQ(bench.table->llIntfAddrEntryFromIntfId("Ethernet1"), row);
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(LinkLocal, DoesNotTakeItsInterfacesGlobalAddressesIntoAccount) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1"));
    bench.ip6("Ethernet1", "2001:db8::2/64");
    bench.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet1 2001:db8::2"));
}

TEST(LinkLocal, TheInterfacesStatusTakesItAlong) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet2", "fe80::1/64");
    bench.ip6StatusDel("Ethernet1");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet2"));
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet2"));
}

char const* const steps[] = {"subnet=fe80::/64", "intfAddrEntryFromAddr", "llIntfAddrEntry"};

TEST(LinkLocal, AnObserverMayTakeItAwayAtAnyStepOfItsComing) {
    for (auto const* const step : steps) {
        SmBench bench;
        Meddler const meddler(bench, step, [&] { bench.ip6Del("Ethernet1", "fe80::1/64"); });
        bench.ip6("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), IsEmpty()) << step;
        EXPECT_THAT(bench.rowsByAddr(), IsEmpty()) << step;
        EXPECT_THAT(bench.linkLocals(), IsEmpty()) << step;
    }
}

TEST(LinkLocal, AnObserverMayBringItBackAtAnyStepOfItsGoing) {
    for (auto const* const step : steps) {
        SmBench bench;
        bench.ip6("Ethernet1", "fe80::1/64");
        Meddler const meddler(bench, step, [&] { bench.ip6("Ethernet1", "fe80::1/64"); });
        bench.ip6Del("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        EXPECT_THAT(bench.rows(), ElementsAre("fe80::1/64 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("fe80::1/64 Ethernet1")) << step;
        EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::1/64 Ethernet1")) << step;
    }
}

TEST(LinkLocal, AnObserverMayReplaceItAtAnyStepOfItsGoing) {
    for (auto const* const step : steps) {
        SmBench bench;
        bench.ip6("Ethernet1", "fe80::1/64");
        Meddler const meddler(bench, step, [&] { bench.ip6("Ethernet1", "fe80::2/64"); });
        bench.ip6Del("Ethernet1", "fe80::1/64");
        ASSERT_TRUE(meddler.done());
        bench.time.advance(2.0);
        EXPECT_THAT(bench.rows(), ElementsAre("fe80::2/64 Ethernet1")) << step;
        EXPECT_THAT(bench.rowsByAddr(), ElementsAre("fe80::2/64 Ethernet1")) << step;
        EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::2/64 Ethernet1")) << step;
    }
}

TEST(LinkLocal, AnObserverMayReplaceTheStatusAtAnyStepOfItsComing) {
    for (auto const* const step : steps) {
        for (Zin::Seconds const delay : {0.0, 1.5}) {
            SmBench bench({.intfCleanupDelay = delay});
            auto const status = Ip6::intfStatusFactory("Ethernet1");
            status->addrIs(Nimb::Ip6AddrWithMask("fe80::2/64"), {});
            Meddler const meddler(bench, step, [&] { bench.vrfIp6->intfStatusIs(status); });
            bench.ip6("Ethernet1", "fe80::1/64");
            ASSERT_TRUE(meddler.done());
            bench.time.advance(4.0);
            EXPECT_THAT(bench.rows(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
            EXPECT_THAT(bench.rowsByAddr(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
            EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::2/64 Ethernet1")) << step << delay;
        }
    }
}

}  // namespace
}  // namespace IpLib
