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
using Testing::SmBench;
using VirtualIp::VrfIpPair;
using VirtualIp::VrfIpWithMaskPair;

VrfIpWithMaskPair pair4(L3::VrfName const& vrf, char const* addr) {
    return {vrf, Nimb::IpAddrWithMask(addr)};
}

VrfIpPair pair6(L3::VrfName const& vrf, char const* addr) { return {vrf, Nimb::Ip6Addr(addr)}; }

TEST(VirtualAddresses, HaveARowAndAnIndexAndNoInterfaceAndNoSubnet) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));

    auto const key = IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1"));
    auto const row = bench.table->intfAddrEntryFromAddr(key);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->key(), key);
    EXPECT_TRUE(row->intfId().empty());
    EXPECT_EQ(row->subnet(), Nimb::IpGenPrefix());
    EXPECT_EQ(bench.table->intfAddrEntry(row->content()), row);
    EXPECT_THAT(bench.sets(), IsEmpty());
    EXPECT_THAT(bench.linkLocals(), IsEmpty());
    EXPECT_THAT(bench.published(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=true;subnet= present",
                            "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=true present"));
}

TEST(VirtualAddresses, LeaveTheIndexBeforeTheRows) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.clear();

    bench.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=true absent",
                            "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=true;subnet= absent"));
    EXPECT_THAT(
        bench.traceTexts(),
        ElementsAre("8 handleVirtualIp vrf blue ip 10.0.0.1",
                    "8 removeVirtualIntfAddr vrf blue ip 10.0.0.1",
                    "8 handleIntfAddrEntry ip 10.0.0.1 on  isVirtual true isPresent false"));
}

TEST(VirtualAddresses, OfIpv6AreTreatedLikeThoseOfIpv4) {
    SmBench bench;
    bench.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=true;subnet= present",
                    "intfAddrEntryFromAddr intfId=;addr=2001:db8::1;virtualIp=true present"));
    EXPECT_THAT(bench.traceTexts(),
                ElementsAre("8 handleVirtualIp6 vrf blue ip 2001:db8::1",
                            "8 addVirtualIntfAddr vrf blue ip 2001:db8::1",
                            "8 handleIntfAddrEntry ip 2001:db8::1 on  isVirtual true isPresent "
                            "true"));
    bench.clear();

    bench.virtualIp6->virtualIp6Del(pair6("blue", "2001:db8::1"));
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(), Contains("8 removeVirtualIntfAddr vrf blue ip 2001:db8::1"));
}

TEST(VirtualAddresses, OfAnotherVrfAreTracedAndPassedOver) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("red", "10.0.0.1/24"));
    bench.virtualIp6->virtualIp6Is(pair6("red", "2001:db8::1"));
    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.traceTexts(), ElementsAre("8 handleVirtualIp vrf red ip 10.0.0.1",
                                                "8 handleVirtualIp6 vrf red ip 2001:db8::1"));

    // A row of this VRF is not that of the other, either.
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp->virtualIpDel(pair4("red", "10.0.0.1/24"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, StandBesideTheSameAddressOfAnInterface) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
    EXPECT_THAT(bench.deferred(), IsEmpty());

    // Each goes alone.
    bench.ip("Ethernet1", "");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 "));
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(VirtualAddresses, PublishedTwiceHaveOneRow) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    auto const row = bench.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1")));
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/25"));
    bench.sm->handleVirtualIp(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 "));
    EXPECT_EQ(bench.table->intfAddrEntryFromAddr(row->key()), row);
}

TEST(VirtualAddresses, AreNoInterfacesAddressesAndStayWhenThoseAreCleanedUp) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    bench.virtualIp6->virtualIp6Is(pair6("blue", "fe80::1"));
    bench.ipStatusDel("Ethernet1");
    bench.sm->processCleanupIntf("", Nimb::AddressFamily::ipv6);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/0 "));
}

TEST(VirtualAddresses, NeedNoKernelInterface) {
    SmBench bench({.ignoreKernelInterfaceState = false});
    bench.kernel->deviceIntfStatusDelAll();
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, AVirtualRowThatLeavesGivesWaitingAddressesAnotherTry) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.9.0.1/24"));
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip("Ethernet2", "10.0.0.1/24");
    bench.time.advance(10.0);
    ASSERT_EQ(bench.time.scheduler()->nextExpiry(), Velk::never);

    bench.virtualIp->virtualIpDel(pair4("blue", "10.9.0.1/24"));

    EXPECT_EQ(bench.time.scheduler()->nextExpiry(), 12.0);
}

TEST(VirtualAddresses, ThatAreThereAtTheStartHaveTheirRowsBeforeTheInterfacesDo) {
    SmBench bench;
    bench.smDel();
    bench.virtualIp->virtualIpIs(pair4("red", "10.0.0.3/24"));
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();

    bench.smIs();

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1", "10.0.0.2/0 ",
                                          "2001:db8::1/0 "));
    EXPECT_THAT(bench.events[0], HasSubstr("10.0.0.2;virtualIp=true"));
    EXPECT_THAT(bench.events[2], HasSubstr("10.0.0.1;virtualIp=true"));
    EXPECT_THAT(bench.events[4], HasSubstr("2001:db8::1;virtualIp=true"));
    EXPECT_THAT(bench.events[6], HasSubstr("10.0.0.1;virtualIp=false"));
}

TEST(VirtualAddresses, WithoutTheInputANotifiedAddressLosesItsRow) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    bench.smDel();
    ASSERT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));
    auto const sm = intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), bench.config,
                                              bench.time.scheduler(), nullptr, nullptr,
                                              bench.kernel, bench.table);
    sm->handleVirtualIpAll();
    sm->handleVirtualIp6All();
    ASSERT_THAT(bench.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));

    sm->handleVirtualIp(pair4("blue", "10.0.0.1/24"));
    sm->handleVirtualIp6(pair6("blue", "2001:db8::1"));

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
}

TEST(VirtualAddresses, AMachineWithoutATableHasNowhereToPutThem) {
    SmBench bench;
    auto const sm = intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"), bench.config,
                                              bench.time.scheduler(), bench.virtualIp,
                                              bench.virtualIp6, bench.kernel, nullptr);
    bench.smDel();
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(VirtualAddresses, AnObserverOfTheRowMayTakeTheAddressAway) {
    SmBench bench;
    Testing::Meddler const meddler(
        bench, "", [&] { bench.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24")); });

    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(bench.rows(), IsEmpty());
    EXPECT_THAT(bench.rowsByAddr(), IsEmpty());
}

TEST(VirtualAddresses, AMachineThatIsBroughtDownMeanwhileAddsNoMore) {
    SmBench bench;
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.sm->hasNotificationActiveIs(false);
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    bench.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    bench.sm->hasNotificationActiveIs(true);
    Testing::Meddler const meddler(bench, "intfAddrEntryFromAddr", [&] { bench.sm->retire(); });

    bench.sm->handleVirtualIpAll();
    bench.sm->handleVirtualIp6All();

    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, CanBeAskedToBeHandledAgainByTheirAttributesName) {
    SmBench bench;
    bench.sm->hasNotificationActiveIs(false);
    bench.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    bench.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    bench.sm->hasNotificationActiveIs(true);
    ASSERT_THAT(bench.rows(), IsEmpty());
    auto const* const type = Zin::registeredType("IpLib::IntfAddrVrfTableSm");

    type->attribute("virtualIpStatus")->handleAll(*bench.sm);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 "));
    type->attribute("virtualIp6Status")->handleAll(*bench.sm);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));
}

}  // namespace
}  // namespace IpLib
