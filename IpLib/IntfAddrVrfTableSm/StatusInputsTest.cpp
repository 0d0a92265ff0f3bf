// The machines of a VRF's interfaces, which come and go with the status that the table points at.

#include <gmock/gmock.h>

#include "IpLib/IntfAddrVrfTableSm/SmBench.h"
#include "IpLib/IntfAddrVrfTableSm/TestAfParent.h"

namespace IpLib {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Testing::SmBench;

TEST(StatusInputs, AnInterfaceHasAMachineForAsLongAsItHasStatus) {
    SmBench bench;
    auto const status = bench.ipStatus("Ethernet1");
    ASSERT_THAT(bench.sm->ipIntfStatusSm(), SizeIs(1));
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet1")->ipIntfStatus(), status);
    EXPECT_EQ(bench.sm->ip6IntfStatusSm("Ethernet1"), nullptr);

    auto const status6 = bench.ip6Status("Ethernet1");
    EXPECT_EQ(bench.sm->ip6IntfStatusSm("Ethernet1")->ip6IntfStatus(), status6);

    bench.clear();
    bench.ipStatusDel("Ethernet1");
    bench.ip6StatusDel("Ethernet1");
    EXPECT_TRUE(bench.sm->ipIntfStatusSm().empty());
    EXPECT_TRUE(bench.sm->ip6IntfStatusSm().empty());
    EXPECT_THAT(bench.traceTexts(), AllOf(Contains("8 handleIpIntfStatus on Ethernet1"),
                                          Contains("8 handleIp6IntfStatus on Ethernet1")));
}

TEST(StatusInputs, StatusThatTheTableGetsLaterMakesAMachineForEachInterfaceThere) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.1.1/24");
    bench.ip("Ethernet2", "10.0.2.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.table->vrfIpIntfStatusIs(nullptr);
    bench.table->vrfIp6IntfStatusIs(nullptr);
    bench.smDel();
    bench.smIs();
    ASSERT_TRUE(bench.sm->ipIntfStatusSm().empty());
    ASSERT_TRUE(bench.sm->ip6IntfStatusSm().empty());

    bench.table->vrfIpIntfStatusIs(bench.vrfIp);
    EXPECT_THAT(bench.sm->ipIntfStatusSm(), SizeIs(2));
    EXPECT_TRUE(bench.sm->ip6IntfStatusSm().empty());
    bench.table->vrfIp6IntfStatusIs(bench.vrfIp6);
    EXPECT_THAT(bench.sm->ip6IntfStatusSm(), SizeIs(1));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.1.1/24 Ethernet1", "10.0.2.1/24 Ethernet2",
                                          "2001:db8::1/64 Ethernet1"));
}

TEST(StatusInputs, ClearingTheTablesStatusTakesAllMachinesOfThatFamilyAway) {
    SmBench bench({.intfCleanupDelay = 0.0});
    bench.ip("Ethernet1", "10.0.1.1/24");
    bench.ip("Ethernet2", "10.0.2.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.table->vrfIpIntfStatusIs(nullptr);
    EXPECT_EQ(bench.sm->vrfIpIntfStatus(), nullptr);
    EXPECT_TRUE(bench.sm->ipIntfStatusSm().empty());
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::1/64 Ethernet1"));
    bench.table->vrfIp6IntfStatusIs(nullptr);
    EXPECT_TRUE(bench.sm->ip6IntfStatusSm().empty());
    EXPECT_THAT(bench.rows(), IsEmpty());
}

TEST(StatusInputs, AnInputThatIsThereAlreadyIsNotHandledAgain) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.clear();
    bench.sm->vrfIpIntfStatusIs(bench.vrfIp);
    bench.sm->vrfIp6IntfStatusIs(bench.vrfIp6);
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
}

TEST(StatusInputs, AForgottenInputLeavesTheMachinesAndTellsOfNoInterface) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    bench.sm->vrfIpIntfStatusDel();
    bench.sm->vrfIp6IntfStatusDel();
    EXPECT_EQ(bench.sm->vrfIpIntfStatus(), nullptr);
    bench.ip("Ethernet2", "10.0.2.1/24");
    bench.ip6("Ethernet2", "2001:db8:2::1/64");
    bench.sm->handleVrfIpIntfStatus();
    bench.sm->handleVrfIp6IntfStatus();
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.1/24 Ethernet1", "2001:db8::1/64 Ethernet1"));
    EXPECT_THAT(bench.sm->ipIntfStatusSm(), SizeIs(1));
    EXPECT_THAT(bench.sm->ip6IntfStatusSm(), SizeIs(1));
}

TEST(StatusInputs, AReplacedInputBringsItsOwnInterfaces) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const other = Ip::vrfIpIntfStatusFactory();
    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.2/24"));
    other->ipIntfStatusIs(status);
    bench.table->vrfIpIntfStatusIs(other);
    EXPECT_EQ(bench.sm->vrfIpIntfStatus(), other);
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1"));

    // The old input is not heard any more.
    bench.ip("Ethernet2", "10.0.2.1/24");
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1"));
}

TEST(StatusInputs, AReplacedStatusWithdrawsItsAddressesBeforeTheNewOnePublishesIts) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    auto const oldMachine = bench.sm->ipIntfStatusSm("Ethernet1");
    Testing::Events published;
    Testing::Recorder<AllIntfAddrWithMask> const recorder(bench.sm->allIntfAddrWithMask(),
                                                          published);
    bench.clear();

    auto const status = Ip::ipIntfStatusFactory("Ethernet1");
    status->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.0.0.2/24"));
    bench.vrfIp->ipIntfStatusIs(status);
    EXPECT_TRUE(oldMachine->retired());
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet1")->ipIntfStatus(), status);
    EXPECT_THAT(published,
                ElementsAre("10.0.0.1/24 Ethernet1 absent", "10.0.0.2/24 Ethernet1 present"));
    EXPECT_THAT(bench.rows(), ElementsAre("10.0.0.2/24 Ethernet1"));
    EXPECT_THAT(
        bench.events,
        ElementsAre("intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false absent",
                    "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24 absent",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 absent",
                    "intfAddrEntry intfId=;addr=10.0.0.2;virtualIp=false;subnet=10.0.0.0/24 "
                    "present",
                    "intfAddrEntryFromAddr intfId=;addr=10.0.0.2;virtualIp=false present",
                    "intfAddrEntrySetFromSubnet 10.0.0.0/24 present"));
}

TEST(StatusInputs, AReplacedIp6StatusWithdrawsItsAddressesBeforeTheNewOnePublishesIts) {
    SmBench bench;
    bench.ip6("Ethernet1", "2001:db8::1/64");
    Testing::Events published;
    Testing::Recorder<AllIntfAddrWithMask> const recorder(bench.sm->allIntfAddrWithMask(),
                                                          published);
    auto const status = Ip6::intfStatusFactory("Ethernet1");
    status->addrIs(Nimb::Ip6AddrWithMask("2001:db8::2/64"), {});
    bench.vrfIp6->intfStatusIs(status);
    EXPECT_EQ(bench.sm->ip6IntfStatusSm("Ethernet1")->ip6IntfStatus(), status);
    EXPECT_THAT(published,
                ElementsAre("2001:db8::1/64 Ethernet1 absent", "2001:db8::2/64 Ethernet1 present"));
    EXPECT_THAT(bench.rows(), ElementsAre("2001:db8::2/64 Ethernet1"));
}

TEST(StatusInputs, AnInterfaceToldOfTwiceKeepsItsMachine) {
    SmBench bench;
    bench.ip("Ethernet1", "10.0.0.1/24");
    bench.ip6("Ethernet1", "2001:db8::1/64");
    auto const machine = bench.sm->ipIntfStatusSm("Ethernet1");
    auto const machine6 = bench.sm->ip6IntfStatusSm("Ethernet1");
    bench.clear();

    bench.sm->handleIpIntfStatus("Ethernet1");
    bench.sm->handleIpIntfStatusAll();
    bench.sm->handleVrfIpIntfStatus();
    bench.vrfIp->ipIntfStatusIs(bench.ipStatus("Ethernet1"));
    bench.sm->handleIp6IntfStatus("Ethernet1");
    bench.sm->handleVrfIp6IntfStatus();
    bench.vrfIp6->intfStatusIs(bench.ip6Status("Ethernet1"));
    EXPECT_EQ(bench.sm->ipIntfStatusSm("Ethernet1"), machine);
    EXPECT_EQ(bench.sm->ip6IntfStatusSm("Ethernet1"), machine6);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(StatusInputs, AnInterfaceWithoutStatusNeedsNoMachineToBeTakenAway) {
    SmBench bench;
    bench.sm->handleIpIntfStatus("Ethernet1");
    bench.sm->handleIp6IntfStatus("Ethernet1");
    EXPECT_EQ(bench.sm->ipIntfStatusSmDel("Ethernet1"), nullptr);
    EXPECT_EQ(bench.sm->ip6IntfStatusSmDel("Ethernet1"), nullptr);
    EXPECT_THAT(bench.traceTexts(), ElementsAre("8 handleIpIntfStatus on Ethernet1",
                                                "8 handleIp6IntfStatus on Ethernet1"));
}

}  // namespace
}  // namespace IpLib
