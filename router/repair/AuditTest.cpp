#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "router/repair/AuditPass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

// A router on a clock that the test moves, with VRF red, and two interfaces that have devices. Its
// tables may be meddled with.
struct Fixture {
    explicit Fixture(IpLib::IntfAddrVrfTableSmConfig const& config = {})
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)) {
        router.managerStart().apply();
        router.tableAdd("red").apply();
        inputs().ipVrfAdd("red").apply();
        inputs().ip6VrfAdd("red").apply();
        for (char const* const intf : {"eth0", "eth1"}) {
            inputs().kernelAdd("red", intf, {}).apply();
            inputs().ipIntfAdd("red", intf, {}).apply();
            inputs().ip6IntfAdd("red", intf, {}).apply();
        }
    }

    Inputs& inputs() { return router.inputs(); }
    IpLib::IntfAddrVrfTable& table() { return *router.table("red"); }
    void primary(char const* intf, char const* addr) {
        inputs().ipPrimaryIs("red", intf, Nimb::IpAddrWithMask(addr)).apply();
    }
    void addr6(char const* intf, char const* addr, bool deprecated = false) {
        inputs()
            .ip6AddrSet("red", intf,
                        {.addr = Nimb::Ip6AddrWithMask(addr), .deprecated = deprecated})
            .apply();
    }
    void addr6Del(char const* intf, char const* addr) {
        inputs().ip6AddrDel("red", intf, Nimb::Ip6AddrWithMask(addr)).apply();
    }
    // An address of eth0 with its row.
    IpLib::IntfAddrEntryContent row(char const* addr = "10.0.0.1",
                                    char const* subnet = "10.0.0.0/24", char const* intf = "eth0") {
        Nimb::IpGenAddr const address(addr);
        return {address.isV6LinkLocal() ? IpLib::IntfAddrEntryKey::makeLlKey(address, intf)
                                        : IpLib::IntfAddrEntryKey::makeIpKey(address),
                intf, Nimb::IpGenPrefix(subnet)};
    }

    Texts faults() {
        FaultBook book(0.0);
        // What is found once more is due.
        for (int passes = 0; passes < 2; ++passes) {
            AuditPass pass(router, [&](L3::VrfName const&) { return &book; });
            while (pass.step()) {
            }
            EXPECT_EQ(pass.whole().size(), 1U);
        }
        Texts texts;
        for (auto const& fault : book.due(clock->now() + 1.0)) {
            texts.push_back(fault.toText());
        }
        return texts;
    }

    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    Router router;
};

TEST(Audit, FindsNothingInATableThatIsRight) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.primary("eth1", "10.0.0.1/24");  // waits
    fixture.inputs().ipSecondaryAdd("red", "eth1", Nimb::IpAddrWithMask("10.0.0.2/24")).apply();
    fixture.addr6("eth0", "2001:db8::1/64");
    fixture.addr6("eth0", "2001:db8::2/64", true);
    fixture.addr6("eth0", "fe80::1/64");
    fixture.addr6("eth0", "fe80::2/64");  // waits
    fixture.inputs().vipAdd("red", Nimb::IpAddrWithMask("10.0.0.1/24")).apply();
    fixture.inputs().vip6Add("red", Nimb::Ip6Addr("2001:db8::1")).apply();
    fixture.inputs().vip6Add("blue", Nimb::Ip6Addr("2001:db8::9")).apply();

    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, AnUnnumberedInterfaceDoesNotPublishItsPrimary) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.inputs().ipUnnumberedIs("red", "eth0", "eth1").apply();

    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, WhatAPendingCleanUpTakesIsNoFault) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.primary("eth1", "10.0.0.1/24");
    fixture.inputs().ipIntfDel("red", "eth0").apply();
    fixture.inputs().ipIntfDel("red", "eth1").apply();

    EXPECT_THAT(fixture.faults(), IsEmpty());

    fixture.clock->nowIs(2.5);
    EXPECT_THAT(fixture.faults(), IsEmpty());
    fixture.clock->nowIs(2.75);
    EXPECT_THAT(fixture.faults(), ElementsAre("overdue clean-up: 0.0.0.0/0 on eth0",
                                              "overdue clean-up: 0.0.0.0/0 on eth1"));
}

TEST(Audit, FindsARowThatNoStatusJustifies) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.router.managerStop().apply();
    fixture.primary("eth0", "0.0.0.0/0");
    fixture.router.managerStart().apply();

    EXPECT_THAT(fixture.faults(), ElementsAre("row that no status justifies: 10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsARowWhoseDeviceIsGone) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.router.managerStop().apply();
    fixture.inputs().kernelDel("red", "eth0").apply();
    fixture.router.managerStart().apply();

    EXPECT_THAT(fixture.faults(), ElementsAre("row whose device is gone: 10.0.0.1/24 on eth0"));
}

TEST(Audit, EveryInterfaceHasItsDeviceWhereTheKernelIsIgnored) {
    Fixture fixture({.ignoreKernelInterfaceState = true});
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.inputs().kernelDel("red", "eth0").apply();

    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, FindsAnAddressThatIsLost) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.inputs().ipSecondaryAdd("red", "eth0", Nimb::IpAddrWithMask("10.0.0.1/24")).apply();
    fixture.primary("eth0", "0.0.0.0/0");

    EXPECT_THAT(fixture.faults(),
                ElementsAre("published address that is neither in the table nor waiting: "
                            "10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsAnAddressThatIsHeldBackAndDoesNotWait) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.primary("eth1", "10.0.0.1/24");
    fixture.router.tableSm("red")->deferredIntfAddBacklog()->backlogDelAll();

    EXPECT_THAT(fixture.faults(),
                ElementsAre("published address that is neither in the table nor waiting: "
                            "10.0.0.1/24 on eth1"));
}

TEST(Audit, AnAddressWithoutADeviceIsNotLost) {
    Fixture fixture;
    fixture.inputs().kernelDel("red", "eth0").apply();
    fixture.primary("eth0", "10.0.0.1/24");

    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, FindsAnAddressThatWaitsThoughItsWayIsFree) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.primary("eth1", "10.0.0.1/24");
    fixture.primary("eth0", "0.0.0.0/0");

    EXPECT_THAT(fixture.faults(),
                ElementsAre("address that waits though its way is free: 10.0.0.1/24 on eth1"));
}

TEST(Audit, FindsAKeyThatWaitsThoughNobodyPublishesIt) {
    Fixture fixture;
    fixture.router.tableSm("red")->deferredIntfAddBacklog()->backlogIs(
        {"eth1", Nimb::IpGenAddrWithMask("10.0.0.1/24")});

    EXPECT_THAT(fixture.faults(),
                ElementsAre("address that waits though nobody publishes it: 10.0.0.1/24 on eth1"));
}

TEST(Audit, FindsTwoRowsOfOneKey) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.table().intfAddrEntryIs(fixture.row("10.0.0.1", "10.0.0.0/16"));

    EXPECT_THAT(fixture.faults(), testing::Contains("two rows of one key: 10.0.0.1/16 on eth0"));
}

TEST(Audit, FindsARowWithoutItsAddressEntry) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.table().intfAddrEntryFromAddrDel(fixture.row().key);

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and by-address entry that disagree: 10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsAnAddressEntryWithoutItsRow) {
    Fixture fixture;
    fixture.table().intfAddrEntryFromAddrIs(IpLib::intfAddrEntryFactory(fixture.row()));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and by-address entry that disagree: 10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsARowThatIsInNoSet) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.table().intfAddrEntrySetFromSubnetDel(fixture.row().subnet);

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and subnet set that disagree: 10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsARowThatIsInBothCollectionsOfItsSet) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.table()
        .intfAddrEntrySetFromSubnet(fixture.row().subnet)
        ->deprecatedIntfAddrEntryIs(fixture.table().intfAddrEntry(fixture.row()));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and subnet set that disagree: 10.0.0.1/24 on eth0"));
}

TEST(Audit, FindsADeprecatedRowThatIsUsable) {
    Fixture fixture;
    fixture.addr6("eth0", "2001:db8::1/64", true);
    auto const row = fixture.row("2001:db8::1", "2001:db8::/64");
    auto const set = fixture.table().intfAddrEntrySetFromSubnet(row.subnet);
    set->deprecatedIntfAddrEntryDel(row.key);
    set->intfAddrEntryIs(fixture.table().intfAddrEntry(row));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and subnet set that disagree: 2001:db8::1/64 on eth0"));
}

TEST(Audit, FindsASetMemberWithoutItsRow) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    fixture.table()
        .intfAddrEntrySetFromSubnet(fixture.row().subnet)
        ->intfAddrEntryIs(IpLib::intfAddrEntryFactory(fixture.row("10.0.0.9")));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and subnet set that disagree: 10.0.0.9/24 on eth0"));
}

TEST(Audit, FindsAnEmptySet) {
    Fixture fixture;
    fixture.table().intfAddrEntrySetFromSubnetIs(
        IpLib::intfAddrEntrySetFactory("eth0", Nimb::IpGenPrefix("10.0.0.0/24")));

    EXPECT_THAT(fixture.faults(), ElementsAre("empty subnet set: 10.0.0.0/24 on eth0"));
}

TEST(Audit, ADeprecatedRowMayBeInNoSet) {
    Fixture fixture;
    fixture.addr6("eth0", "2001:db8::1/64");
    fixture.addr6("eth0", "2001:db8::2/64", true);
    fixture.addr6Del("eth0", "2001:db8::1/64");

    EXPECT_THAT(fixture.faults(), IsEmpty());

    // Also where another interface has the subnet by now.
    fixture.addr6("eth1", "2001:db8::3/64");
    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, FindsALinkLocalRowWithoutItsEntry) {
    Fixture fixture;
    fixture.addr6("eth0", "fe80::1/64");
    fixture.table().llIntfAddrEntryFromIntfIdDel("eth0");

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and link-local entry that disagree: fe80::1/64 on eth0"));
}

TEST(Audit, FindsALinkLocalEntryWithoutItsRow) {
    Fixture fixture;
    fixture.table().llIntfAddrEntryFromIntfIdIs(
        IpLib::intfAddrEntryFactory(fixture.row("fe80::1", "fe80::/64")));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and link-local entry that disagree: fe80::1/64 on eth0"));
}

TEST(Audit, ALinkLocalRowMayStandForAnotherLength) {
    Fixture fixture;
    fixture.addr6("eth0", "fe80::1/64");
    fixture.addr6("eth0", "fe80::1/63");

    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, ARefusedLinkLocalAddressIsNotLostAndItsRowIsJustified) {
    Fixture fixture;
    EXPECT_THROW(fixture.addr6("eth0", "fe80::1/64", true), Zin::RangeError);
    EXPECT_THAT(fixture.faults(), IsEmpty());

    fixture.addr6("eth1", "fe80::1/64");
    EXPECT_THROW(fixture.addr6("eth1", "fe80::1/64", true), Zin::RangeError);
    EXPECT_EQ(fixture.table().llIntfAddrEntryFromIntfId().size(), 1U);
    EXPECT_THAT(fixture.faults(), IsEmpty());
}

TEST(Audit, FindsVirtualAddressesThatAreLostOrNotPublished) {
    Fixture fixture;
    fixture.inputs().vipAdd("red", Nimb::IpAddrWithMask("10.0.0.1/24")).apply();
    fixture.inputs().vipAdd("red", Nimb::IpAddrWithMask("10.0.0.1/32")).apply();
    fixture.inputs().vip6Add("red", Nimb::Ip6Addr("2001:db8::1")).apply();
    EXPECT_THAT(fixture.faults(), IsEmpty());

    fixture.inputs().vipDel("red", Nimb::IpAddrWithMask("10.0.0.1/32")).apply();
    fixture.router.managerStop().apply();
    fixture.inputs().vip6Del("red", Nimb::Ip6Addr("2001:db8::1")).apply();
    fixture.router.managerStart().apply();
    fixture.table().intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1")));

    EXPECT_THAT(fixture.faults(),
                ElementsAre("row and by-address entry that disagree: 10.0.0.1/32",
                            "virtual address without its row: 10.0.0.1/32",
                            "virtual row that is not published: 2001:db8::1/128"));
}

TEST(Audit, WhatChangesBetweenItsStepsMayChange) {
    Fixture fixture;
    for (int host = 1; host < 9; ++host) {
        fixture.inputs()
            .ipSecondaryAdd("red", "eth0", Nimb::IpAddrWithMask(fmt::format("10.0.0.{}/24", host)))
            .apply();
    }
    for (int steps = 0; steps < 60; ++steps) {
        FaultBook book(0.0);
        Audit audit(fixture.router, "red", book);
        for (int step = 0; step < steps; ++step) {
            audit.step();
        }
        fixture.inputs().ipIntfAdd("red", "eth0", {}).apply();
        fixture.primary("eth1", "10.0.0.5/24");
        fixture.clock->nowIs(fixture.clock->now() + 10.0);
        fixture.router.scheduler()->run();
        while (audit.step()) {
        }
        EXPECT_THAT(book.due(fixture.clock->now() + 1.0), IsEmpty()) << steps;
        fixture.primary("eth1", "0.0.0.0/0");
        fixture.inputs()
            .ipIntfAdd("red", "eth0",
                       {.secondary = {Nimb::IpAddrWithMask("10.0.0.5/24"),
                                      Nimb::IpAddrWithMask("10.0.0.6/24")}})
            .apply();
    }
}

TEST(Audit, IsVoidWhereTheTableIsReplaced) {
    Fixture fixture;
    fixture.primary("eth0", "10.0.0.1/24");
    FaultBook book(0.0);
    Audit audit(fixture.router, "red", book);
    ASSERT_TRUE(audit.step());
    ASSERT_TRUE(audit.isStanding());
    fixture.router.tableAdd("red").apply();

    EXPECT_FALSE(audit.isStanding());
}

}  // namespace
}  // namespace Routing
