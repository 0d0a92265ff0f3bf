// The machines of a VRF's interfaces, which come and go with the status that the table points at.

#include <gmock/gmock.h>

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"
#include "IpLib/IntfAddrVrfTableSm/TestFamilies.h"
#include "Zin/Format.h"
#include "Zin/Registry.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using TestKit::OfIp;
using TestKit::OfIp6;
using TestKit::rowOf;
using TestKit::SmFixture;

TEST(StatusInputs, AnInterfaceHasAMachineForAsLongAsItHasStatus) {
    SmFixture fixture;
    auto const status = fixture.ipStatus("Ethernet1");
    ASSERT_THAT(fixture.sm->ipIntfStatusSm(), SizeIs(1));
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet1")->ipIntfStatus(), status);
    EXPECT_EQ(fixture.sm->ip6IntfStatusSm("Ethernet1"), nullptr);

    auto const status6 = fixture.ip6Status("Ethernet1");
    EXPECT_EQ(fixture.sm->ip6IntfStatusSm("Ethernet1")->ip6IntfStatus(), status6);

    fixture.clear();
    fixture.ipStatusDel("Ethernet1");
    fixture.ip6StatusDel("Ethernet1");
    EXPECT_TRUE(fixture.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(fixture.sm->ip6IntfStatusSm().empty());
    EXPECT_THAT(fixture.traceTexts(), AllOf(Contains("8 handleIpIntfStatus on Ethernet1"),
                                            Contains("8 handleIp6IntfStatus on Ethernet1")));
}

TEST(StatusInputs, AnInputThatIsThereAlreadyIsNotHandledAgain) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.clear();
    fixture.sm->vrfIpIntfStatusIs(fixture.vrfIp);
    fixture.sm->vrfIp6IntfStatusIs(fixture.vrfIp6);
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
}

// The attributes ask for a walk of their own family.
TEST(StatusInputs, CanBeAskedToBeHandledAgainByTheirAttributesName) {
    for (bool const isIp6 : {false, true}) {
        SmFixture fixture;
        fixture.sm->hasNotificationActiveIs(false);
        fixture.ip("Ethernet1", "10.0.0.1/24");
        fixture.ip6("Ethernet1", "2001:db8::1/64");
        fixture.sm->hasNotificationActiveIs(true);
        ASSERT_THAT(fixture.rows(), IsEmpty());
        Zin::registeredType("IpLib::IntfAddrVrfTableSm")
            ->attribute(isIp6 ? "vrfIp6IntfStatus" : "vrfIpIntfStatus")
            ->handleAgain(*fixture.sm);
        EXPECT_THAT(fixture.rows(),
                    ElementsAre(isIp6 ? "2001:db8::1/64 Ethernet1" : "10.0.0.1/24 Ethernet1"));
    }
}

TEST(StatusInputs, AForgottenInputLeavesTheMachinesAndTellsOfNoInterface) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.sm->vrfIpIntfStatusDel();
    fixture.sm->vrfIp6IntfStatusDel();
    EXPECT_EQ(fixture.sm->vrfIpIntfStatus(), nullptr);
    fixture.ip("Ethernet2", "10.0.2.1/24");
    fixture.ip6("Ethernet2", "2001:db8:2::1/64");
    fixture.sm->handleVrfIpIntfStatus();
    fixture.sm->handleVrfIp6IntfStatus();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(fixture.sm->ipIntfStatusSm(), SizeIs(1));
    EXPECT_THAT(fixture.sm->ip6IntfStatusSm(), SizeIs(1));
}

template <class Family>
class ReplacedStatus : public testing::Test {};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(ReplacedStatus, Families);

TYPED_TEST(ReplacedStatus, OfAllInterfacesBringsItsOwn) {
    TypeParam fixture;
    fixture.addrIs("Ethernet1", fixture.first);
    auto const other = fixture.otherVrf();
    fixture.put(*other, fixture.statusWith("Ethernet1", fixture.second));
    fixture.inputIs(other);
    EXPECT_EQ(fixture.input(), other);
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(fixture.second, "Ethernet1")));

    // The old input is not heard any more.
    fixture.addrIs("Ethernet2", fixture.elsewhere);
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(fixture.second, "Ethernet1")));
}

TYPED_TEST(ReplacedStatus, OfNoInterfaceTakesAllMachinesAwayAndTheOldOneBringsThemBack) {
    TypeParam fixture({.intfCleanupDelay = 0.0});
    fixture.addrIs("Ethernet1", fixture.first);
    fixture.addrIs("Ethernet2", fixture.elsewhere);
    fixture.inputIs(nullptr);
    EXPECT_EQ(fixture.input(), nullptr);
    for (auto const* const intf : {"Ethernet1", "Ethernet2"}) {
        EXPECT_FALSE(fixture.machine(intf)) << intf;
    }
    EXPECT_THAT(fixture.rows(), IsEmpty());

    fixture.inputIs(fixture.vrf());
    for (auto const* const intf : {"Ethernet1", "Ethernet2"}) {
        EXPECT_TRUE(fixture.machine(intf)) << intf;
    }
    EXPECT_THAT(fixture.rows(), UnorderedElementsAre(rowOf(fixture.first, "Ethernet1"),
                                                     rowOf(fixture.elsewhere, "Ethernet2")));
}

// Of one family; the other stays as it is.
TEST(StatusInputs, StatusOfOneFamilyComesAndGoesAlone) {
    SmFixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("Ethernet1", "10.0.1.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    fixture.table->vrfIpIntfStatusIs(nullptr);
    EXPECT_THAT(fixture.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    fixture.table->vrfIpIntfStatusIs(fixture.vrfIp);
    fixture.table->vrfIp6IntfStatusIs(nullptr);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.1.1/24 Ethernet1"));
}

TYPED_TEST(ReplacedStatus, WithdrawsItsAddressesBeforeTheNewOnePublishesIts) {
    TypeParam fixture;
    auto const [oldAddr, newAddr] = std::pair(fixture.first, fixture.second);
    fixture.addrIs("Ethernet1", oldAddr);
    auto const oldMachine = fixture.machine("Ethernet1");
    TestKit::Events published;
    TestKit::Recorder<AllIntfAddrWithMask> const recorder(fixture.sm->allIntfAddrWithMask(),
                                                          published);
    fixture.clear();

    auto const status = fixture.statusWith("Ethernet1", newAddr);
    fixture.statusIs(status);
    EXPECT_TRUE(oldMachine->retired());
    EXPECT_EQ(fixture.statusOfMachine("Ethernet1"), status);
    EXPECT_THAT(published, ElementsAre(rowOf(oldAddr, "Ethernet1") + " absent",
                                       rowOf(newAddr, "Ethernet1") + " present"));
    EXPECT_THAT(fixture.rows(), ElementsAre(rowOf(newAddr, "Ethernet1")));
    auto const key = [](TestKit::TestAddr const& addr) {
        return fmt::format("intfId=;addr={};virtualIp=false", addr.addr);
    };
    EXPECT_THAT(
        fixture.events,
        ElementsAre(fmt::format("intfAddrEntryFromAddr {} absent", key(oldAddr)),
                    fmt::format("intfAddrEntry {};subnet={} absent", key(oldAddr), oldAddr.subnet),
                    fmt::format("intfAddrEntrySetFromSubnet {} absent", oldAddr.subnet),
                    fmt::format("intfAddrEntry {};subnet={} present", key(newAddr), newAddr.subnet),
                    fmt::format("intfAddrEntryFromAddr {} present", key(newAddr)),
                    fmt::format("intfAddrEntrySetFromSubnet {} present", newAddr.subnet)));
}

TEST(StatusInputs, AnInterfaceToldOfTwiceKeepsItsMachine) {
    SmFixture fixture;
    fixture.ip("Ethernet1", "10.0.0.1/24");
    fixture.ip6("Ethernet1", "2001:db8::1/64");
    auto const machine = fixture.sm->ipIntfStatusSm("Ethernet1");
    auto const machine6 = fixture.sm->ip6IntfStatusSm("Ethernet1");
    fixture.clear();

    fixture.sm->handleIpIntfStatus("Ethernet1");
    fixture.sm->handleIpIntfStatusAll();
    fixture.sm->handleVrfIpIntfStatus();
    fixture.vrfIp->ipIntfStatusIs(fixture.ipStatus("Ethernet1"));
    fixture.sm->handleIp6IntfStatus("Ethernet1");
    fixture.sm->handleVrfIp6IntfStatus();
    fixture.vrfIp6->intfStatusIs(fixture.ip6Status("Ethernet1"));
    EXPECT_EQ(fixture.sm->ipIntfStatusSm("Ethernet1"), machine);
    EXPECT_EQ(fixture.sm->ip6IntfStatusSm("Ethernet1"), machine6);
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(StatusInputs, AnInterfaceWithoutStatusNeedsNoMachineToBeTakenAway) {
    SmFixture fixture;
    fixture.sm->handleIpIntfStatus("Ethernet1");
    fixture.sm->handleIp6IntfStatus("Ethernet1");
    EXPECT_EQ(fixture.sm->ipIntfStatusSmDel("Ethernet1"), nullptr);
    EXPECT_EQ(fixture.sm->ip6IntfStatusSmDel("Ethernet1"), nullptr);
    EXPECT_THAT(fixture.traceTexts(), ElementsAre("8 handleIpIntfStatus on Ethernet1",
                                                  "8 handleIp6IntfStatus on Ethernet1"));
}

}  // namespace
}  // namespace IpLib
