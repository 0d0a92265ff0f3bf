#include "router/repair/Succession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "router/repair/TestRouter.h"

namespace Routing {
namespace {

using IpLib::IntfAddrEntryKey;
using testing::ElementsAre;
using testing::IsEmpty;

// A table that is written by hand beside a router that publishes: nobody else is to put anything
// into it.
struct Fixture : TestRouter {
    Fixture() { router.managerStop().apply(); }

    Zin::Ptr<IpLib::IntfAddrEntry> row(char const* addrWithMask, char const* intf) {
        Nimb::IpGenAddrWithMask const addr(addrWithMask);
        return table()->intfAddrEntryIs({addr.isV6LinkLocal()
                                             ? IntfAddrEntryKey::makeLlKey(addr.address(), intf)
                                             : IntfAddrEntryKey::makeIpKey(addr.address()),
                                         intf, addr.prefix()});
    }
    // With its index entries.
    void ownRow(char const* addrWithMask, char const* intf) {
        Nimb::IpGenAddrWithMask const addr(addrWithMask);
        auto const entry = row(addrWithMask, intf);
        table()->intfAddrEntryFromAddrIs(entry);
        if (addr.isV6LinkLocal()) {
            table()->llIntfAddrEntryFromIntfIdIs(entry);
        } else {
            set(addr.prefix().toStrep().c_str(), intf);
        }
    }
    void set(char const* subnet, char const* intf) {
        table()->intfAddrEntrySetFromSubnetIs(
            IpLib::intfAddrEntrySetFactory(intf, Nimb::IpGenPrefix(subnet)));
    }

    // Each address once, where it is named first.
    Texts order(std::vector<IpLib::IntfAddrWithMaskKey> const& waiting = {}) const {
        Texts texts;
        for (auto const& addr : succession(router.published("red"), *table(), waiting)) {
            std::string const named = text(addr.key()) + (addr.deprecated() ? " deprecated" : "");
            if (std::ranges::find(texts, named) == texts.end()) {
                texts.push_back(named);
            }
        }
        return texts;
    }
};

IpLib::IntfAddrWithMaskKey key(char const* intf, char const* addrWithMask) {
    return {intf, Nimb::IpGenAddrWithMask(addrWithMask)};
}

TEST(Succession, RowsInTheirOwnPlacesComeFirstInTheirOrder) {
    Fixture fixture;
    fixture.ip("eth2", "10.0.0.3/24");  // published first, and in both their ways
    fixture.ip6("eth2", "2001:db8::3/64");
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip6("eth1", "2001:db8::1/64");
    fixture.ownRow("2001:db8::1/64", "eth1");
    fixture.ownRow("10.0.0.1/24", "eth0");

    EXPECT_THAT(fixture.order({key("eth2", "10.0.0.3/24"), key("eth2", "2001:db8::3/64")}),
                ElementsAre("2001:db8::1/64 eth1", "10.0.0.1/24 eth0", "10.0.0.3/24 eth2",
                            "2001:db8::3/64 eth2"));
}

TEST(Succession, TheLinkLocalRowOfAnInterfaceIsOwn) {
    Fixture fixture;
    fixture.ip6("eth0", "fe80::9/64");
    fixture.ip6("eth0", "fe80::1/64");
    fixture.ownRow("fe80::1/64", "eth0");

    EXPECT_THAT(fixture.order({key("eth0", "fe80::9/64")}),
                ElementsAre("fe80::1/64 eth0", "fe80::9/64 eth0"));
}

TEST(Succession, WhatASubnetsInterfacePublishesInItComesAfterTheRows) {
    Fixture fixture;
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.secondary("eth0", "10.0.0.2/24");  // lost
    fixture.ip6("eth0", "2001:db8::1/64", true);
    fixture.ownRow("10.0.0.1/24", "eth0");
    fixture.set("2001:db8::/64", "eth0");

    EXPECT_THAT(fixture.order({key("eth1", "10.0.0.2/24")}),
                ElementsAre("10.0.0.1/24 eth0", "10.0.0.2/24 eth0",
                            "2001:db8::1/64 eth0 deprecated", "10.0.0.2/24 eth1"));
}

TEST(Succession, RowsThatDoNotStandInTheirOwnPlacesComeAfterThat) {
    Fixture fixture;
    // Deprecated, it has outlived its subnet.
    fixture.ip6("eth0", "2001:db8::1/64", true);
    fixture.table()->intfAddrEntryFromAddrIs(fixture.row("2001:db8::1/64", "eth0"));
    // Look-ups do not find it.
    fixture.ip("eth1", "10.0.1.1/24");
    fixture.row("10.0.1.1/24", "eth1");
    fixture.set("10.0.1.0/24", "eth1");
    // Look-ups find another one.
    fixture.ip("eth2", "10.0.2.1/24");
    fixture.row("10.0.2.1/24", "eth2");
    fixture.set("10.0.2.0/24", "eth2");
    fixture.table()->intfAddrEntryFromAddrIs(
        IpLib::intfAddrEntryFactory({IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.2.1")),
                                     "eth9", Nimb::IpGenPrefix("10.0.2.0/24")}));
    // Its subnet is another interface's, which publishes in it.
    fixture.ip("eth3", "10.0.3.1/24");
    fixture.table()->intfAddrEntryFromAddrIs(fixture.row("10.0.3.1/24", "eth3"));
    fixture.ip("eth4", "10.0.3.2/24");
    fixture.set("10.0.3.0/24", "eth4");
    // Its interface's link-local row is another one.
    fixture.ip6("eth5", "fe80::1/64");
    fixture.ip6("eth5", "fe80::2/64");
    fixture.ownRow("fe80::2/64", "eth5");
    fixture.table()->intfAddrEntryFromAddrIs(fixture.row("fe80::1/64", "eth5"));

    auto const order = fixture.order({key("eth6", "10.0.3.3/24")});
    auto const at = [&](char const* named) {
        EXPECT_THAT(order, testing::Contains(named));
        return std::ranges::find(order, named) - order.begin();
    };
    EXPECT_LT(at("10.0.3.2/24 eth4"), at("10.0.3.1/24 eth3"));
    EXPECT_LT(at("fe80::2/64 eth5"), at("fe80::1/64 eth5"));
    EXPECT_LT(at("fe80::2/64 eth5"), at("2001:db8::1/64 eth0 deprecated"));
    EXPECT_LT(at("10.0.3.2/24 eth4"), at("2001:db8::1/64 eth0 deprecated"));
    at("10.0.1.1/24 eth1");
    at("10.0.2.1/24 eth2");
}

TEST(Succession, OfTwoRowsOfOneAddressTheOneThatLookUpsFindComesFirst) {
    Fixture fixture;
    fixture.ip("eth2", "10.0.0.1/25");
    fixture.ip("eth1", "10.0.0.1/24");
    fixture.row("10.0.0.1/25", "eth2");
    fixture.set("10.0.0.0/25", "eth2");
    fixture.ownRow("10.0.0.1/24", "eth1");

    EXPECT_THAT(fixture.order(), ElementsAre("10.0.0.1/24 eth1", "10.0.0.1/25 eth2"));
}

TEST(Succession, WhatWaitedComesLastInItsOrder) {
    Fixture fixture;
    for (char const* intf : {"eth1", "eth2", "eth3"}) {
        fixture.status(intf);
    }
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.ip("eth2", "10.0.0.3/24");
    fixture.ip6("eth3", "2001:db8::1/64", true);
    fixture.ownRow("10.0.0.1/24", "eth0");

    EXPECT_THAT(fixture.order({key("eth2", "10.0.0.3/24"), key("eth3", "2001:db8::1/64"),
                               key("eth1", "10.0.0.2/24")}),
                ElementsAre("10.0.0.1/24 eth0", "10.0.0.3/24 eth2",
                            "2001:db8::1/64 eth3 deprecated", "10.0.0.2/24 eth1"));
}

TEST(Succession, WhatIsNotPublishedIsNotNamed) {
    Fixture fixture;
    fixture.ownRow("10.0.0.1/24", "eth0");
    fixture.ownRow("fe80::1/64", "eth0");
    fixture.row("10.0.1.1/24", "eth0");
    fixture.ip("eth1", "10.0.0.1/24");
    fixture.status("eth0");

    EXPECT_THAT(fixture.order({key("eth2", "10.0.0.1/24")}), IsEmpty());
}

TEST(Succession, WhatHasNoDeviceIsNotNamed) {
    for (bool const hasDevice : {true, false}) {
        Fixture fixture;
        fixture.status("eth0");
        fixture.ip("eth1", "10.0.0.9/24");
        fixture.ip("eth0", "10.0.0.1/24");
        fixture.secondary("eth0", "10.0.0.2/24");
        fixture.secondary("eth0", "10.0.1.1/24");
        fixture.secondary("eth0", "10.0.2.1/24");
        fixture.ownRow("10.0.0.1/24", "eth0");
        fixture.row("10.0.1.1/24", "eth0");
        if (!hasDevice) {
            fixture.inputs.kernelDel("red", "eth0").apply();
        }
        EXPECT_EQ(fixture.order({key("eth0", "10.0.2.1/24")}).size(), hasDevice ? 4U : 0U);
    }
}

TEST(Succession, ARefusedLinkLocalAddressIsNamedWhereItsRowStandsAlone) {
    Fixture fixture;
    for (char const* intf : {"eth0", "eth1", "eth2"}) {
        fixture.ip6(intf, "fe80::1/64", true);
    }
    fixture.ip6("eth0", "fe80::2/64");
    fixture.ownRow("fe80::1/64", "eth0");
    fixture.ownRow("fe80::2/64", "eth2");

    EXPECT_THAT(fixture.order({key("eth1", "fe80::1/64"), key("eth0", "fe80::2/64")}),
                ElementsAre("fe80::1/64 eth0", "fe80::2/64 eth0"));
}

TEST(Succession, VirtualRowsAreNotNamed) {
    Fixture fixture;
    fixture.inputs.vipAdd("red", Nimb::IpAddrWithMask("10.0.0.1/24")).apply();
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.table()->intfAddrEntryIs(
        {IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1")), {}, {}});

    EXPECT_THAT(fixture.order(), IsEmpty());
}

TEST(Succession, WhatWaitsInItsOwnSubnetKeepsItsPlaceInTheQueue) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.2/24");
    fixture.secondary("eth0", "10.0.0.1/24");
    fixture.ip("eth2", "10.0.0.1/26");
    fixture.ownRow("10.0.0.2/24", "eth0");

    EXPECT_THAT(fixture.order({key("eth2", "10.0.0.1/26"), key("eth0", "10.0.0.1/24")}),
                ElementsAre("10.0.0.2/24 eth0", "10.0.0.1/26 eth2", "10.0.0.1/24 eth0"));
}

TEST(Succession, WhatWaitsInItsOwnSubnetComesBeforeARowThatWouldTakeIt) {
    Fixture fixture;
    fixture.ip6("eth0", "2001:db8::1/64");
    fixture.ip6("eth1", "2001:db8::2/64", true);
    fixture.row("2001:db8::2/64", "eth1");
    fixture.set("2001:db8::/64", "eth0");

    EXPECT_THAT(fixture.order({key("eth0", "2001:db8::1/64")}),
                ElementsAre("2001:db8::1/64 eth0", "2001:db8::2/64 eth1 deprecated"));
}

TEST(Succession, ALinkLocalRowStandsForItsAddressWithWhateverLength) {
    Fixture fixture;
    fixture.ip6("eth0", "fe80::2/64");
    fixture.ip6("eth0", "fe80::1/63");
    fixture.ownRow("fe80::1/64", "eth0");

    EXPECT_THAT(fixture.order({key("eth0", "fe80::2/64")}),
                ElementsAre("fe80::1/63 eth0", "fe80::2/64 eth0"));
}

}  // namespace
}  // namespace Routing
