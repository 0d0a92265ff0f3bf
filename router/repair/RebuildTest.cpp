#include "router/repair/Rebuild.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Turn.h"
#include "router/repair/TestRouter.h"

namespace Routing {
namespace {

using IpLib::IntfAddrEntryKey;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr IpLib::IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0,
                                                 .deferredIntfAddDelay = 0.0};

struct Fixture : TestRouter {
    using TestRouter::TestRouter;

    void rebuild() {
        Rebuild rebuild(router, "red");
        Zin::Turn turn;
        turn.run([&] { rebuild.takeAway(); });
        turn.run([&] { rebuild.put(); });
    }
    // What a rebuild of a table that is right leaves as it is.
    void expectNothingChanges() {
        auto const before = content();
        auto const waiting = queue();
        rebuild();
        EXPECT_EQ(content(), before);
        EXPECT_EQ(queue(), waiting);
    }
};

TEST(Rebuild, ATableThatIsRightIsAsItWas) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.secondary("eth0", "10.0.0.2/24");
    fixture.ip6("eth0", "2001:db8::1/64");
    fixture.ip6("eth0", "2001:db8::2/64", true);
    fixture.ip6("eth0", "fe80::1/64");
    fixture.ip6("eth1", "fe80::1/64");
    fixture.inputs.vipAdd("red", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();
    fixture.inputs.vip6Add("red", Nimb::Ip6Addr("2001:db8::9")).apply();
    fixture.expectNothingChanges();
    EXPECT_EQ(fixture.rows().size(), 8U);
}

TEST(Rebuild, ANewTableWithANewMachineIsInThePlaceOfTheOldOne) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    auto const table = fixture.table();
    auto const machine = fixture.machine();
    fixture.rebuild();

    EXPECT_NE(fixture.table(), table);
    EXPECT_NE(fixture.machine(), machine);
    EXPECT_TRUE(machine->retired());
    fixture.ip("eth1", "10.0.1.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0", "10.0.1.1/24 eth1"));
}

TEST(Rebuild, WhatHasBeenSpoiltIsMendedAndTheOldMachineDoesNotStumbleOverIt) {
    for (auto const& config : {IpLib::IntfAddrVrfTableSmConfig(), atOnce}) {
        Fixture fixture(config);
        fixture.ip("eth0", "10.0.0.1/24");
        fixture.ip6("eth0", "fe80::1/64");
        auto const right = fixture.content();
        auto const table = fixture.table();
        table->intfAddrEntryDelAll();
        table->intfAddrEntrySetFromSubnetDelAll();
        table->llIntfAddrEntryFromIntfIdDelAll();
        auto const wrong =
            IpLib::intfAddrEntryFactory({IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")),
                                         "eth9", Nimb::IpGenPrefix("10.0.0.0/24")});
        table->intfAddrEntryFromAddrIs(wrong);
        table->intfAddrEntryIs(wrong->content());

        EXPECT_NO_THROW(fixture.rebuild());
        EXPECT_EQ(fixture.content(), right);
    }
}

TEST(Rebuild, TheOwnerOfAnAddressKeepsIt) {
    Fixture fixture;
    fixture.status("eth1");  // which a machine would start with
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.1/24");
    fixture.expectNothingChanges();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.queue(), ElementsAre("10.0.0.1/24 eth1"));
}

TEST(Rebuild, TheOwnerOfASubnetKeepsItAndTheOtherWaits) {
    Fixture fixture;
    fixture.status("eth1");
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.expectNothingChanges();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.queue(), ElementsAre("10.0.0.2/24 eth1"));

    // Also where the owner's row is lost, but not its set.
    fixture.table()->intfAddrEntryDelAll();
    fixture.table()->intfAddrEntryFromAddrDelAll();
    fixture.rebuild();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.queue(), ElementsAre("10.0.0.2/24 eth1"));
}

TEST(Rebuild, TheLinkLocalAddressThatAnInterfaceHasStays) {
    Fixture fixture;
    fixture.ip6("eth0", "fe80::9/64");
    fixture.ip6("eth0", "fe80::1/64");
    fixture.noIp6("eth0", "fe80::9/64");
    fixture.advance(2.0);
    fixture.ip6("eth0", "fe80::9/64");
    ASSERT_THAT(fixture.rows(), ElementsAre("fe80::1/64 eth0"));
    fixture.expectNothingChanges();
}

TEST(Rebuild, WhatWaitsKeepsItsPlaceInTheQueue) {
    Fixture fixture;
    for (char const* intf : {"eth1", "eth2", "eth3"}) {
        fixture.status(intf);
    }
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth3", "10.0.0.4/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.ip("eth2", "10.0.0.3/24");
    fixture.expectNothingChanges();
    EXPECT_THAT(fixture.queue(),
                ElementsAre("10.0.0.4/24 eth3", "10.0.0.2/24 eth1", "10.0.0.3/24 eth2"));

    fixture.noIp("eth0");
    fixture.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.4/24 eth3"));
    EXPECT_THAT(fixture.queue(), ElementsAre("10.0.0.2/24 eth1", "10.0.0.3/24 eth2"));
}

TEST(Rebuild, WhatComesToWaitIsBehindWhatWaitedBefore) {
    Fixture fixture;
    fixture.status("eth1");
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth2", "10.0.0.3/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.machine()->deferredIntfAddBacklog()->backlogDel(
        {"eth1", Nimb::IpGenAddrWithMask("10.0.0.2/24")});
    fixture.rebuild();
    EXPECT_THAT(fixture.queue(), ElementsAre("10.0.0.3/24 eth2", "10.0.0.2/24 eth1"));
}

TEST(Rebuild, ARefusedLinkLocalRowStaysUntilItsAddressGoes) {
    Fixture fixture;
    fixture.ip6("eth0", "fe80::1/64");
    EXPECT_THROW(fixture.ip6("eth0", "fe80::1/64", true), Zin::RangeError);
    EXPECT_THROW(fixture.rebuild(), Zin::RangeError);
    EXPECT_THAT(fixture.content(),
                ElementsAre("address fe80::1/64 eth0", "link-local fe80::1/64 eth0",
                            "row fe80::1/64 eth0"));

    fixture.noIp6("eth0", "fe80::1/64");
    EXPECT_THAT(fixture.content(), IsEmpty());
}

TEST(Rebuild, CleanUpsThatArePendingAreNoMore) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.1.1/24");
    fixture.inputs.ipIntfDel("red", "eth0").apply();
    fixture.inputs.kernelDel("red", "eth1").apply();
    ASSERT_EQ(fixture.rows().size(), 2U);
    ASSERT_FALSE(fixture.machine()->intfCleanupBacklog()->backlog().empty());
    fixture.rebuild();

    EXPECT_THAT(fixture.rows(), IsEmpty());
    EXPECT_TRUE(fixture.machine()->intfCleanupBacklog()->backlog().empty());
    EXPECT_EQ(fixture.router.scheduler()->nextExpiry(), Velk::never);
    fixture.inputs.kernelAdd("red", "eth1", {}).apply();
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.1.1/24 eth1"));
}

TEST(Rebuild, TheUsesOfTheKernelsInterfacesBalance) {
    Fixture fixture;
    auto const uses = [&] {
        return fixture.inputs.kniIntfStatusHelper()->uses("red",
                                                          "IpLib::IntfAddrVrfTableSmFactory");
    };
    fixture.rebuild();
    fixture.rebuild();
    EXPECT_EQ(uses(), 1U);
    fixture.router.managerStop().apply();
    EXPECT_EQ(uses(), 0U);
}

TEST(Rebuild, OtherVrfsAreLeftAlone) {
    Fixture fixture;
    fixture.vrf("blue");
    auto const table = fixture.router.table("blue");
    auto const machine = fixture.router.tableSm("blue");
    fixture.rebuild();
    EXPECT_EQ(fixture.router.table("blue"), table);
    EXPECT_EQ(fixture.router.tableSm("blue"), machine);
}

TEST(Rebuild, ASilencedMachineWritesNothing) {
    for (auto const& config : {IpLib::IntfAddrVrfTableSmConfig(), atOnce}) {
        Fixture fixture(config);
        fixture.ip("eth0", "10.0.0.1/24");
        fixture.ip("eth1", "10.0.0.2/24");
        fixture.ip6("eth2", "2001:db8::1/64");
        fixture.ip("eth3", "10.0.3.1/24");
        fixture.ip("eth4", "10.0.4.1/24");
        fixture.inputs.ipIntfDel("red", "eth4").apply();
        fixture.inputs.vipAdd("red", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();
        auto const before = fixture.content();
        silence(fixture.machine());

        fixture.ip("eth5", "10.0.5.1/24");
        fixture.noIp("eth0");
        fixture.ip6("eth2", "2001:db8::1/64", true);
        fixture.inputs.kernelDel("red", "eth3").apply();
        fixture.inputs.ip6IntfDel("red", "eth2").apply();
        fixture.inputs.vipAdd("red", Nimb::IpAddrWithMask("10.0.0.8/24")).apply();
        fixture.inputs.vipDel("red", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();
        fixture.advance(10.0);
        EXPECT_EQ(fixture.content(), before);

        fixture.inputs.ipVrfDel("red").apply();
        fixture.inputs.ip6VrfAdd("red").apply();
        fixture.router.managerStop().apply();
        EXPECT_EQ(fixture.content(), before);
    }
}

TEST(Rebuild, NoMachineMayBeSilenced) {
    silence(nullptr);
    Fixture fixture;
    silence(fixture.machine());
    silence(fixture.machine());
    EXPECT_THAT(fixture.content(), IsEmpty());
}

TEST(Rebuild, ASilencedMachineIsReplacedByOneThatFollowsWhatIsPublished) {
    for (auto const& config : {IpLib::IntfAddrVrfTableSmConfig(), atOnce}) {
        Fixture fixture(config);
        fixture.ip("eth0", "10.0.0.1/24");
        fixture.ip("eth1", "10.0.0.2/24");
        silence(fixture.machine());
        fixture.ip("eth2", "10.0.2.1/24");
        fixture.noIp("eth0");
        fixture.rebuild();
        EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 eth1", "10.0.2.1/24 eth2"));
        EXPECT_THAT(fixture.queue(), IsEmpty());
    }
}

TEST(Rebuild, AVrfWithoutStatusIsEmptied) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip6("eth0", "fe80::1/64");
    silence(fixture.machine());
    fixture.inputs.ipVrfDel("red").apply();
    fixture.inputs.ip6VrfDel("red").apply();
    fixture.rebuild();
    EXPECT_THAT(fixture.content(), IsEmpty());
}

}  // namespace
}  // namespace Routing
