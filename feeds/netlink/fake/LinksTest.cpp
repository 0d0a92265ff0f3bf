#include "feeds/netlink/fake/Links.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "feeds/netlink/fake/TestBench.h"

namespace Netlink::Fake {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

struct LinksTest : testing::Test, Bench {};

TEST_F(LinksTest, TheLowestIndexThatIsFreeIsTakenAgain) {
    Place const first = addDummy("eth0");
    addDummy("eth1");
    kernel.links().remove(first);

    EXPECT_EQ(addDummy("eth2"), first);
    EXPECT_EQ(kernel.links().add(LinkKind::dummy, {home, "eth3", first.ifIndex}), EEXIST);
    EXPECT_EQ(kernel.links().add(LinkKind::dummy, {home, "eth1"}), EEXIST);
}

TEST_F(LinksTest, AVethHasCarrierWhileItsPeerIsUp) {
    Place const near = addVeth("near", "far");
    Place const far = kernel.link(home, "far")->place;
    forget();

    kernel.links().setUp(near, true);
    EXPECT_THAT(told(), ElementsAre("NEWLINK 3 near up state 3 kind veth"));
    kernel.links().setUp(far, true);
    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 far up state 2 kind veth"));
    kernel.advanceTo(Links::linkWatchDelay);
    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 far up running state 6 kind veth",
                                    "NEWLINK 3 near up running state 6 kind veth"));
    kernel.links().setUp(far, false);
    kernel.advanceTo(1);
    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 far state 2 kind veth",
                                    "NEWLINK 3 near up state 3 kind veth"));
}

TEST_F(LinksTest, AVethTakesItsPeerAlong) {
    NamespaceId const other = kernel.makeNamespace("other");
    kernel.links().addVeth({home, "near"}, {other, "far"});
    kernel.links().addAddress(kernel.link(home, "near")->place, address("10.0.0.1/24"));
    forget();

    kernel.links().remove(kernel.link(other, "far")->place);

    EXPECT_THAT(told(), ElementsAre("DELADDR 2 10.0.0.1/24 flags 80 label near",
                                    "DELLINK 2 near state 2 kind veth"));
    EXPECT_EQ(kernel.link(other, "far"), nullptr);
}

TEST_F(LinksTest, AMovedLinkLeavesItsAddressesAndKeepsItsIndexWhereItCan) {
    NamespaceId const other = kernel.makeNamespace("other");
    auto const there = kernel.open({"other", other}, 1U << 20, {});
    Place const near = addVeth("near", "far");
    kernel.links().setUp(near, true);
    kernel.links().addAddress(near, address("10.0.0.1/24"));
    forget();

    EXPECT_EQ(kernel.links().move(near, other), 0);

    EXPECT_THAT(told(), ElementsAre("NEWLINK 3 near state 2 kind veth",
                                    "DELADDR 3 10.0.0.1/24 flags 80 label near",
                                    "DELLINK 3 near state 2 kind veth"));
    EXPECT_THAT(receiveTexts(*there.notifications),
                ElementsAre("NEWLINK 3 near state 2 kind veth"));
    EXPECT_EQ(kernel.link(home, "far")->peer, kernel.link(other, "near")->place);
    kernel.links().add(LinkKind::dummy, {home, "taken", 3});
    EXPECT_EQ(kernel.links().move(kernel.link(other, "near")->place, home), 0);
    EXPECT_EQ(kernel.link(home, "near")->place.ifIndex, 4U);
}

TEST_F(LinksTest, JoiningAVrfCyclesTheLinkAndDropsItsIp6Addresses) {
    Place const eth0 = addDummy("eth0", 2);
    kernel.links().add(LinkKind::vrf, {home, "red", 3});
    kernel.links().setUp(eth0, true);
    kernel.links().addAddress(eth0, address("10.0.0.1/24"));
    kernel.links().addAddress(eth0, address("fd00::1/64"));
    forget();

    EXPECT_EQ(kernel.links().setMaster(eth0, 3), 0);

    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 eth0 up running master 3 state 0 kind dummy",
                                    "DELADDR 2 fd00::1/64 flags 80",
                                    "NEWLINK 2 eth0 master 3 state 2 kind dummy",
                                    "NEWLINK 2 eth0 up running master 3 state 0 kind dummy"));
    EXPECT_THAT(addresses(eth0), ElementsAre("10.0.0.1/24"));
    kernel.links().remove({home, 3});
    EXPECT_EQ(kernel.link(home, "eth0")->master, 0U);
}

TEST_F(LinksTest, ABridgeTellsOfItsPortsInMessagesOfItsOwn) {
    Place const eth0 = addDummy("eth0", 2);
    kernel.links().add(LinkKind::bridge, {home, "br0", 3});
    forget();

    kernel.links().setMaster(eth0, 3);
    EXPECT_THAT(told(), ElementsAre("NEWLINK 2 eth0 master 3 state 2 kind dummy",
                                    "bridge-NEWLINK 2 eth0 master 3 state 2"));
    kernel.links().setMaster(eth0, 0);
    EXPECT_THAT(told(), ElementsAre("bridge-DELLINK 2 eth0 master 3 state 2",
                                    "NEWLINK 2 eth0 state 2 kind dummy"));
}

TEST_F(LinksTest, TheLoopbackHasItsAddressesWhileItIsUpAndStays) {
    Place const lo{home, 1};
    kernel.links().setUp(lo, true);

    EXPECT_THAT(told(), ElementsAre("NEWLINK 1 lo up running state 0",
                                    "NEWADDR 1 127.0.0.1/8 scope 254 flags 80 label lo",
                                    "NEWADDR 1 ::1/128 scope 254 flags 80"));
    kernel.links().setUp(lo, false);
    EXPECT_THAT(addresses(lo), ElementsAre("127.0.0.1/8"));
    EXPECT_EQ(kernel.links().remove(lo), EOPNOTSUPP);
}

TEST_F(LinksTest, SettingAStateThatIsThereTellsNothing) {
    Place const eth0 = addDummy("eth0");
    forget();

    EXPECT_EQ(kernel.links().setUp(eth0, false), 0);
    EXPECT_EQ(kernel.links().rename(eth0, "eth0"), 0);

    EXPECT_THAT(told(), IsEmpty());
}

}  // namespace
}  // namespace Netlink::Fake
