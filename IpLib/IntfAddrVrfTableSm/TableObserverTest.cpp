// What observers of the table may do while they are told of its rows, over the whole machine of a
// VRF: whatever they change has its effect, in the order in which they change it.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"

namespace IpLib {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using TestKit::Meddler;
using TestKit::SmFixture;

TEST(TableObserver, MayTakeAwayAnAddressThatWaitsAndBringItsInterfaceBack) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        fixture.ipStatusDel("Ethernet2");
        fixture.ipStatus("Ethernet2");
    });

    fixture.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
}

TEST(TableObserver, MayGiveTheAddressOfAnInterfaceThatGoesToAnother) {
    SmFixture fixture;
    fixture.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        fixture.ipStatusDel("Ethernet2");
        fixture.ipStatus("Ethernet2");
        fixture.ip("Ethernet4", "10.0.0.1/24");
    });

    fixture.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.rowsByAddr(),
                ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(fixture.sets(),
                ElementsAre("10.0.0.0/24 Ethernet4 10.0.0.1", "10.3.0.0/24 Ethernet3 10.3.0.1"));
}

TEST(TableObserver, MayEmptyAStatusThatHasGone) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.secondary("Ethernet1", "10.0.0.1/24");
    fixture.secondary("Ethernet1", "10.0.1.1/24");
    auto const gone = fixture.ipStatus("Ethernet1");
    Meddler const meddler(fixture, "intfAddrEntry ",
                          [&] { gone->secondaryActiveAddrWithMaskDelAll(); });

    fixture.ipStatusDel("Ethernet1");

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.published(), IsEmpty());
    fixture.secondary("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(TableObserver, MayEmptyAnIp6StatusThatHasGone) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.ip6("Ethernet1", "2001:db8:1::1/64");
    auto const gone = fixture.ip6Status("Ethernet1");
    Meddler const meddler(fixture, "intfAddrEntry ", [&] { gone->addrDelAll(); });

    fixture.ip6StatusDel("Ethernet1");

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.published(), IsEmpty());
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(TableObserver, MayBringAnInputBackWhoseMachinesAreGoing) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.1.1/24");
    auto const kept = fixture.sm->ipIntfStatusSm("Ethernet2");
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.0.0.1",
                          [&] { fixture.table->vrfIpIntfStatusIs(fixture.vrfIp); });

    fixture.table->vrfIpIntfStatusIs(nullptr);

    EXPECT_EQ(fixture.sm->vrfIpIntfStatus(), fixture.vrfIp);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm().size(), 2u);
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet2"), kept);
    EXPECT_THAT(fixture.rows(), Contains("10.0.1.1/24 Ethernet2"));
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

TEST(TableObserver, MayPublishAnInterfaceAgainThatIsCleanedUpAtOnce) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=10.0.0.1",
                          [&] { fixture.vrfIp->ipIntfStatusIs(status); });

    fixture.ipStatusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(TableObserver, MayPublishAnIp6InterfaceAgainThatIsCleanedUpAtOnce) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    auto const status = Ip6::intfStatusFactory("Ethernet1");
    status->addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {});
    Meddler const meddler(fixture, "intfAddrEntry intfId=;addr=2001",
                          [&] { fixture.vrfIp6->intfStatusIs(status); });

    fixture.ip6StatusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(fixture.published(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(TableObserver, MayBringAnInputBackWhoseInterfacesAreCleanedUpAtOnce) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    Meddler const meddler(fixture, "addr=10.0.0.1",
                          [&] { fixture.table->vrfIpIntfStatusIs(fixture.vrfIp); });
    fixture.table->vrfIpIntfStatusIs(nullptr);
    ASSERT_TRUE(meddler.done());
    Meddler const meddler6(fixture, "addr=2001",
                           [&] { fixture.table->vrfIp6IntfStatusIs(fixture.vrfIp6); });
    fixture.table->vrfIp6IntfStatusIs(nullptr);
    ASSERT_TRUE(meddler6.done());

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
}

TEST(TableObserver, MayRunTheTasksThatAreDue) {
    SmFixture fixture({.deferredIntfAddDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.2/24");
    fixture.ip("Ethernet3", "10.0.0.3/24");
    // The address that waits is withdrawn, and has not left the backlog when the task tries it.
    Meddler const meddler(fixture, "addr=10.0.0.1", [&] {
        fixture.ip("Ethernet2", "");
        fixture.time.scheduler()->run();
    });

    fixture.ip("Ethernet1", "");

    ASSERT_TRUE(meddler.done());
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.3/24 Ethernet3"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());
}

// The new machine finds the rows of the old one and takes them over; without a delay the old one
// takes them along when it goes.
TEST(TableObserver, AMachineThatReplacesAnotherLosesItsRowsWithoutADelay) {
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SmFixture fixture({.intfCleanupDelay = delay});
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.smIs();
        EXPECT_THAT(fixture.published(), ElementsAre("10.0.0.1/24 Ethernet1"));
        if (delay == 0.0) {
            EXPECT_THAT(fixture.rows(), IsEmpty());
        } else {
            EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
        }
    }
}

}  // namespace
}  // namespace IpLib
