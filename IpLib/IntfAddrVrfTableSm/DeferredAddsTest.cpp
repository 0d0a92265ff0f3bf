// How an address that has to wait comes into the table, over the whole machine of a VRF.

#include <gmock/gmock.h>

#include <cmath>

#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestKit::SmFixture;

TEST(DeferredIntfAdd, AWaitingAddressIsAdmittedOnceTheDelayIsOverAfterItsConflictHasGone) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.2/24");
    fixture.time.advanceTo(10.0);
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.2/24 Ethernet2"));

    fixture.ip("Ethernet1", "");
    fixture.time.advanceTo(std::nextafter(12.0, 0.0));
    EXPECT_THAT(fixture.rows(), IsEmpty());
    fixture.time.advanceTo(12.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 Ethernet2"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet2 10.0.0.2"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(DeferredIntfAdd, OfTwoAddressesThatWaitForOnePlaceTheFirstOneGetsIt) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet3", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.ip("Ethernet1", "");
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.deferred(), ElementsAre("10.0.0.1/24 Ethernet2"));
}

TEST(DeferredIntfAdd, ADeprecatedAddressIsAdmittedAsSuch) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet2", "2001:db8::2/64", true);
    fixture.ip6Del("Ethernet1", "2001:db8::1/64");
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.sets(), ElementsAre("2001:db8::/64 Ethernet2 (2001:db8::2)"));
}

TEST(DeferredIntfAdd, TheNextLinkLocalAddressOfAnInterfaceComesWhenTheFirstHasGone) {
    SmFixture fixture;
    fixture.ip6("Ethernet1", "fe80::1/64");
    fixture.ip6("Ethernet1", "fe80::2/64");
    fixture.ip6Del("Ethernet1", "fe80::1/64");
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.linkLocals(), ElementsAre("fe80::2/64 Ethernet1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

TEST(DeferredIntfAdd, AChangedPrefixLengthIsAdmittedAfterTheDelay) {
    SmFixture fixture;
    fixture.secondary("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.0.1/16");
    fixture.secondaryDel("Ethernet1", "10.0.0.1/24");
    fixture.time.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/16 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/16 Ethernet1 10.0.0.1"));
}

TEST(DeferredIntfAdd, ManyWaitingAddressesAreAdmittedThoughThePassGivesWay) {
    for (std::uint32_t const yieldEvery : {1u, 2u}) {
        SmFixture fixture({.intfCleanupDelay = 0.0}, yieldEvery);
        for (int i = 0; i < 10; ++i) {
            fixture.ip(fmt::format("Ethernet{}", i), fmt::format("10.0.{}.1/24", i));
            fixture.ip(fmt::format("Management{}", i), fmt::format("10.0.{}.2/24", i));
        }
        EXPECT_THAT(fixture.deferred().size(), 10u);
        for (int i = 0; i < 10; ++i) {
            fixture.ipStatusDel(fmt::format("Ethernet{}", i));
        }
        fixture.clear();
        fixture.time.advance(2.0);
        EXPECT_THAT(fixture.deferred(), IsEmpty());
        EXPECT_THAT(fixture.rows().size(), 10u);
        EXPECT_THAT(fixture.tracesOf("DeferredIntfAddSm"),
                    Contains(HasSubstr("yielding at intfId")));
    }
}

TEST(DeferredIntfAdd, AWaitingKeyThatNobodyPublishesFails) {
    SmFixture fixture;
    fixture.sm->deferredIntfAddBacklog()->backlogIs(
        {"Ethernet1", Nimb::IpGenAddrWithMask("10.0.0.1/24")});
    fixture.sm->deferredIntfAddSm()->maybeScheduleTask();
    try {
        fixture.time.advance(2.0);
        ADD_FAILURE() << "nothing failed";
    } catch (Pell::AssertionError const& error) {
        EXPECT_EQ(error.className(), "IntfAddrVrfTableSm");
        EXPECT_EQ(error.message(),
                  "intfId=Ethernet1;addrWithMask=10.0.0.1/24 missing in all collection");
    }
}

}  // namespace
}  // namespace IpLib
