// What observers of the table may do while they are told of its rows, over the whole machine of a
// VRF: whatever they change has its effect, in the order in which they change it.

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
using testing::Not;
using Testing::SmBench;

TEST(TableObserver, MayTakeAwayAnAddressThatWaitsAndBringItsInterfaceBack) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(bench, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        bench.ipStatusDel("Ethernet2");
        bench.ipStatus("Ethernet2");
    });

    bench.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(bench.deferred(), IsEmpty());
    EXPECT_THAT(bench.published(), ElementsAre("10.0.0.1/24 Ethernet1", "10.3.0.1/24 Ethernet3"));
}

TEST(TableObserver, MayGiveTheAddressOfAnInterfaceThatGoesToAnother) {
    SmBench bench;
    bench.ip("Ethernet2", "10.0.0.1/24");
    Meddler const meddler(bench, "intfAddrEntry intfId=;addr=10.3.0.1", [&] {
        bench.ipStatusDel("Ethernet2");
        bench.ipStatus("Ethernet2");
        bench.ip("Ethernet4", "10.0.0.1/24");
    });

    bench.ip("Ethernet3", "10.3.0.1/24");

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet4", "10.3.0.1/24 Ethernet3"));
    EXPECT_THAT(bench.sets(),
                ElementsAre("10.0.0.0/24 Ethernet4 10.0.0.1", "10.3.0.0/24 Ethernet3 10.3.0.1"));
}

TEST(TableObserver, MayEmptyAStatusThatHasGone) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.secondary("Ethernet1", "10.0.0.1/24");
    bench.secondary("Ethernet1", "10.0.1.1/24");
    auto const gone = bench.ipStatus("Ethernet1");
    Meddler const meddler(bench, "intfAddrEntry ",
                          [&] { gone->secondaryActiveAddrWithMaskDelAll(); });

    bench.ipStatusDel("Ethernet1");

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.published(), IsEmpty());
    bench.secondary("Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(TableObserver, MayEmptyAnIp6StatusThatHasGone) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "2001:db8:1::1/64");
    auto const gone = bench.ip6Status("Ethernet1");
    Meddler const meddler(bench, "intfAddrEntry ", [&] { gone->addrDelAll(); });

    bench.ip6StatusDel("Ethernet1");

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.published(), IsEmpty());
    bench.ip6("Ethernet1", "2001:db8::1/64");
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(TableObserver, MayBringAnInputBackWhoseMachinesAreGoing) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.1.1/24");
    auto const kept = bench.sm->ipIntfStatusSm("Ethernet2");
    Meddler const meddler(bench, "intfAddrEntry intfId=;addr=10.0.0.1",
                          [&] { bench.table->vrfIpIntfStatusIs(bench.vrfIp); });

    bench.table->vrfIpIntfStatusIs(nullptr);

    EXPECT_EQ(bench.sm->vrfIpIntfStatus(), bench.vrfIp);
    EXPECT_EQ(bench.sm->ipIntfStatusSm().size(), 2u);
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet2"), kept);
    EXPECT_THAT(bench.rows(), Contains("10.0.1.1/24 Ethernet2"));
}

TEST(InterfaceCleanup, AnIp6InterfaceThatComesBackIsCleanedUpBeforeItsAddressesArePublished) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.ip6("Ethernet1", "fe80::1/64");
    bench.ip6StatusDel("Ethernet1");
    auto const pending =
        bench.sm->intfCleanupBacklog()->getBacklog("Ethernet1", Nimb::AddressFamily::ipv6);
    ASSERT_TRUE(pending);
    bench.time.advance(1.0);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1", "fe80::1/64 Ethernet1"));

    bench.ip6("Ethernet1", "2001:db8::1/64");

    EXPECT_TRUE(pending->processed());
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    bench.clear();
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.traceTexts(), Not(Contains(HasSubstr("cleaning up"))));
}

TEST(TableObserver, MayPublishAnInterfaceAgainThatIsCleanedUpAtOnce) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.1/24"));
    Meddler const meddler(bench, "intfAddrEntry intfId=;addr=10.0.0.1",
                          [&] { bench.vrfIp->ipIntfStatusIs(status); });

    bench.ipStatusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(bench.published(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
}

TEST(TableObserver, MayPublishAnIp6InterfaceAgainThatIsCleanedUpAtOnce) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip6("Ethernet1", "2001:db8::1/64");
    auto const status = Ip6::intfStatusFactory("Ethernet1");
    status->addrIs(Nimb::Ip6AddrWithMask("2001:db8::1/64"), {});
    Meddler const meddler(bench, "intfAddrEntry intfId=;addr=2001",
                          [&] { bench.vrfIp6->intfStatusIs(status); });

    bench.ip6StatusDel("Ethernet1");

    ASSERT_TRUE(meddler.done());
    EXPECT_THAT(bench.published(), ElementsAre("2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(TableObserver, MayBringAnInputBackWhoseInterfacesAreCleanedUpAtOnce) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    Meddler const meddler(bench, "addr=10.0.0.1",
                          [&] { bench.table->vrfIpIntfStatusIs(bench.vrfIp); });
    bench.table->vrfIpIntfStatusIs(nullptr);
    ASSERT_TRUE(meddler.done());
    Meddler const meddler6(bench, "addr=2001",
                           [&] { bench.table->vrfIp6IntfStatusIs(bench.vrfIp6); });
    bench.table->vrfIp6IntfStatusIs(nullptr);
    ASSERT_TRUE(meddler6.done());

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
}

}  // namespace
}  // namespace IpLib
