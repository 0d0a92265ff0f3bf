#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/TestMeddler.h"
#include "IpLib/IntfAddrVrfTableSm/TestSmFixture.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestKit::SmFixture;
using VirtualIp::VrfIpPair;
using VirtualIp::VrfIpWithMaskPair;

VrfIpWithMaskPair pair4(L3::VrfName const& vrf, char const* addr) {
    return {vrf, Nimb::IpAddrWithMask(addr)};
}

VrfIpPair pair6(L3::VrfName const& vrf, char const* addr) { return {vrf, Nimb::Ip6Addr(addr)}; }

TEST(VirtualAddresses, HaveARowAndAnIndexAndNoInterfaceAndNoSubnet) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));

    auto const key = IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1"));
    auto const row = fixture.table->intfAddrEntryFromAddr(key);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->key(), key);
    EXPECT_TRUE(row->intfId().empty());
    EXPECT_EQ(row->subnet(), Nimb::IpGenPrefix());
    EXPECT_EQ(fixture.table->intfAddrEntry(row->content()), row);
    EXPECT_THAT(fixture.sets(), IsEmpty());
    EXPECT_THAT(fixture.linkLocals(), IsEmpty());
    EXPECT_THAT(fixture.published(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=true;subnet= present",
                            "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=true present"));
}

TEST(VirtualAddresses, LeaveTheIndexBeforeTheRows) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.clear();

    fixture.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=true absent",
                            "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=true;subnet= absent"));
    EXPECT_THAT(
        fixture.traceTexts(),
        ElementsAre("8 handleVirtualIp vrf blue ip 10.0.0.1",
                    "8 removeVirtualIntfAddr vrf blue ip 10.0.0.1",
                    "8 handleIntfAddrEntry ip 10.0.0.1 on  isVirtual true isPresent false"));
}

TEST(VirtualAddresses, OfIpv6AreTreatedLikeThoseOfIpv4) {
    SmFixture fixture;
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    EXPECT_THAT(
        fixture.events,
        ElementsAre("intfAddrEntry intfId=;addr=2001:db8::1;virtualIp=true;subnet= present",
                    "intfAddrEntryFromAddr intfId=;addr=2001:db8::1;virtualIp=true present"));
    EXPECT_THAT(fixture.traceTexts(),
                ElementsAre("8 handleVirtualIp6 vrf blue ip 2001:db8::1",
                            "8 addVirtualIntfAddr vrf blue ip 2001:db8::1",
                            "8 handleIntfAddrEntry ip 2001:db8::1 on  isVirtual true isPresent "
                            "true"));
    fixture.clear();

    fixture.virtualIp6->virtualIp6Del(pair6("blue", "2001:db8::1"));
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(), Contains("8 removeVirtualIntfAddr vrf blue ip 2001:db8::1"));
}

TEST(VirtualAddresses, OfAnotherVrfAreTracedAndPassedOver) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("red", "10.0.0.1/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("red", "2001:db8::1"));
    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.traceTexts(), ElementsAre("8 handleVirtualIp vrf red ip 10.0.0.1",
                                                  "8 handleVirtualIp6 vrf red ip 2001:db8::1"));

    // A row of this VRF is not that of the other, either.
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp->virtualIpDel(pair4("red", "10.0.0.1/24"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, StandBesideTheSameAddressOfAnInterface) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.sets(), ElementsAre("10.0.0.0/24 Ethernet1 10.0.0.1"));
    EXPECT_THAT(fixture.deferred(), IsEmpty());

    // Each goes alone.
    fixture.ip("Ethernet1", "");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 "));
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(VirtualAddresses, PublishedTwiceHaveOneRow) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/25"));
    fixture.sm->handleVirtualIp(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 "));
    EXPECT_EQ(fixture.table->intfAddrEntryFromAddr(row->key()), row);
}

TEST(VirtualAddresses, OfIpv6PublishedTwiceHaveOneRow) {
    SmFixture fixture;
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    auto const row = fixture.table->intfAddrEntryFromAddr(
        IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("2001:db8::1")));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    fixture.sm->handleVirtualIp6(pair6("blue", "2001:db8::1"));

    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/0 "));
    EXPECT_EQ(fixture.table->intfAddrEntryFromAddr(row->key()), row);
}

TEST(VirtualAddresses, AreNoInterfacesAddressesAndStayWhenThoseAreCleanedUp) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "fe80::1"));
    fixture.ipStatusDel("Ethernet1");
    fixture.sm->processCleanupIntf("", Nimb::AddressFamily::ipv6);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/0 "));
}

TEST(VirtualAddresses, NeedNoKernelInterface) {
    SmFixture fixture({.ignoreKernelInterfaceState = false});
    fixture.kernel->deviceIntfStatusDelAll();
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, AVirtualRowThatLeavesGivesWaitingAddressesAnotherTry) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.9.0.1/24"));
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip("Ethernet2", "10.0.0.1/24");
    fixture.time.advance(10.0);
    ASSERT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);

    fixture.virtualIp->virtualIpDel(pair4("blue", "10.9.0.1/24"));

    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), 12.0);
}

TEST(VirtualAddresses, ThatAreThereAtTheStartHaveTheirRowsBeforeTheInterfacesDo) {
    SmFixture fixture;
    fixture.smDel();
    fixture.virtualIp->virtualIpIs(pair4("red", "10.0.0.3/24"));
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();

    fixture.smIs();

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 ", "10.0.0.1/24 Ethernet1", "10.0.0.2/0 ",
                                            "2001:db8::1/0 "));
    EXPECT_THAT(fixture.events[0], HasSubstr("10.0.0.2;virtualIp=true"));
    EXPECT_THAT(fixture.events[2], HasSubstr("10.0.0.1;virtualIp=true"));
    EXPECT_THAT(fixture.events[4], HasSubstr("2001:db8::1;virtualIp=true"));
    EXPECT_THAT(fixture.events[6], HasSubstr("10.0.0.1;virtualIp=false"));
}

TEST(VirtualAddresses, WithoutTheInputANotifiedAddressLosesItsRow) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    fixture.smDel();
    ASSERT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));
    auto const sm = intfAddrVrfTableSmFactory("blue", Nimb::NamespaceName("ns-blue"),
                                              fixture.config, fixture.time.scheduler(), nullptr,
                                              nullptr, fixture.kernel, fixture.table);
    sm->handleVirtualIpAll();
    sm->handleVirtualIp6All();
    ASSERT_THAT(fixture.rowsByAddr(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));

    sm->handleVirtualIp(pair4("blue", "10.0.0.1/24"));
    sm->handleVirtualIp6(pair6("blue", "2001:db8::1"));

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
}

TEST(VirtualAddresses, OfOneFamilyNeedNoInputOfTheOther) {
    for (bool const isIp6 : {false, true}) {
        SmFixture fixture;
        fixture.smDel();
        auto const sm = intfAddrVrfTableSmFactory(
            "blue", Nimb::NamespaceName("ns-blue"), fixture.config, fixture.time.scheduler(),
            isIp6 ? nullptr : fixture.virtualIp, isIp6 ? fixture.virtualIp6 : nullptr,
            fixture.kernel, fixture.table);
        fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
        fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
        EXPECT_THAT(fixture.rows(), ElementsAre(isIp6 ? "2001:db8::1/0 " : "10.0.0.1/0 "));
    }
}

TEST(VirtualAddresses, AMachineWithoutATableHasNowhereToPutThem) {
    SmFixture fixture;
    auto const sm = intfAddrVrfTableSmFactory(
        "blue", Nimb::NamespaceName("ns-blue"), fixture.config, fixture.time.scheduler(),
        fixture.virtualIp, fixture.virtualIp6, fixture.kernel, nullptr);
    fixture.smDel();
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24"));
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(VirtualAddresses, AnObserverOfTheRowMayTakeTheAddressAway) {
    SmFixture fixture;
    TestKit::Meddler const meddler(
        fixture, "", [&] { fixture.virtualIp->virtualIpDel(pair4("blue", "10.0.0.1/24")); });

    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_THAT(fixture.rowsByAddr(), IsEmpty());
}

TEST(VirtualAddresses, AMachineThatIsBroughtDownMeanwhileAddsNoMore) {
    SmFixture fixture;
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.sm->hasNotificationActiveIs(false);
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.2/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    fixture.sm->hasNotificationActiveIs(true);
    TestKit::Meddler const meddler(fixture, "intfAddrEntryFromAddr", [&] { fixture.sm->retire(); });

    fixture.sm->handleVirtualIpAll();
    fixture.sm->handleVirtualIp6All();

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 "));
}

TEST(VirtualAddresses, CanBeAskedToBeHandledAgainByTheirAttributesName) {
    SmFixture fixture;
    fixture.sm->hasNotificationActiveIs(false);
    fixture.virtualIp->virtualIpIs(pair4("blue", "10.0.0.1/24"));
    fixture.virtualIp6->virtualIp6Is(pair6("blue", "2001:db8::1"));
    fixture.sm->hasNotificationActiveIs(true);
    ASSERT_THAT(fixture.rows(), IsEmpty());
    auto const* const type = Zin::registeredType("IpLib::IntfAddrVrfTableSm");

    type->attribute("virtualIpStatus")->handleAgain(*fixture.sm);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 "));
    type->attribute("virtualIp6Status")->handleAgain(*fixture.sm);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/0 ", "2001:db8::1/0 "));
}

}  // namespace
}  // namespace IpLib
