// How an address that has to wait comes into the table, over the whole machine of a VRF.

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"

namespace IpLib {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Testing::SmBench;

TEST(DeferredIntfAdd, AWaitingAddressIsAdmittedOnceTheDelayIsOverAfterItsConflictHasGone) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.2/24");
    bench.time.advanceTo(10.0);
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));

    bench.ip("Ethernet1", "");
    bench.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(bench.rows(), IsEmpty());
    bench.time.advanceTo(12.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet2"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.2"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(DeferredIntfAdd, OfTwoAddressesThatWaitForOnePlaceTheFirstOneGetsIt) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet3", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.ip("Ethernet1", "");
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet3"));
    EXPECT_THAT(bench.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
}

TEST(DeferredIntfAdd, ADeprecatedAddressIsAdmittedAsSuch) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet2", "2001:db8::2/64", true);
    bench.ip6Del("Ethernet1", "2001:db8::1/64");
    bench.time.advance(2.0);
    EXPECT_THAT(bench.sets(), ElementsAre("2001:db8::/64 Ethernet2 (2001:db8::2)"));
}

TEST(DeferredIntfAdd, TheNextLinkLocalAddressOfAnInterfaceComesWhenTheFirstHasGone) {
    SmBench bench;
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6("Ethernet1", "fe80::2/64");
    bench.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    bench.time.advance(2.0);
    EXPECT_THAT(bench.linkLocals(), ElementsAre("fe80::2/64 Ethernet1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
}

TEST(DeferredIntfAdd, AChangedPrefixLengthIsAdmittedAfterTheDelay) {
    SmBench bench;
    bench.secondary("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.0.1/16");
    bench.secondaryDel("Ethernet1", "10.0.0.1/24");
    bench.time.advance(2.0);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/16 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/16 Ethernet1 10.0.0.1"));
}

TEST(DeferredIntfAdd, ManyWaitingAddressesAreAdmittedThoughThePassGivesWay) {
    for (std::uint32_t const yieldEvery : {1u, 2u}) {
        SmBench bench({.intfCleanupDelay = 0.0}, yieldEvery);
        for (int i = 0; i < 10; ++i) {
            bench.ip(fmt::format("Ethernet{}", i), fmt::format("10.0.{}.1/24", i));
            bench.ip(fmt::format("Management{}", i), fmt::format("10.0.{}.2/24", i));
        }
        EXPECT_THAT(bench.deferred().size(), 10u);
        for (int i = 0; i < 10; ++i) {
            bench.ipStatusDel(fmt::format("Ethernet{}", i));
        }
        bench.clear();
        bench.time.advance(2.0);
        EXPECT_THAT(bench.deferred(), IsEmpty());
        EXPECT_THAT(bench.rows().size(), 10u);
        EXPECT_THAT(bench.tracesOf("DeferredIntfAddSm"), Contains(HasSubstr("yielding at intfId")));
    }
}

TEST(DeferredIntfAdd, AWaitingKeyThatNobodyPublishesFails) {
    SmBench bench;
    bench.sm->deferredIntfAddBacklog()->backlogIs(
        {"Ethernet1", Nimb::IpGenAddrWithMask("10.0.0.1/24")});
    bench.sm->deferredIntfAddSm()->maybeScheduleTask();
    try {
        bench.time.advance(2.0);
        ADD_FAILURE() << "nothing failed";
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        EXPECT_EQ(error.message(),
                  "intfId=Ethernet1;addrWithMask=10.0.0.1/24 missing in all collection");
    }
}

}  // namespace
}  // namespace IpLib
