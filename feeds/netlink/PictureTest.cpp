#include "feeds/netlink/Picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Zin/Format.h"
#include "feeds/netlink/TestAddresses.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct PictureTest : testing::Test {
    PictureTest() {
        is(linkOf(1, "lo", Link::Kind::loopback));
        is(linkOf(3, "eth0"));
    }
    void is(Link const& link) { mirror.apply(LinkIs{link}); }
    void is(Address const& address) { mirror.apply(AddressIs{address}); }

    LinkPicture picture(std::uint32_t ifIndex = 3, char const* before = "0.0.0.0/0") const {
        return pictureOf(mirror, ifIndex, policy, Nimb::IpAddrWithMask(before));
    }
    // Primary, secondaries, and what it borrows from.
    std::vector<std::string> ip4(std::uint32_t ifIndex = 3,
                                 char const* before = "0.0.0.0/0") const {
        auto const ip = picture(ifIndex, before).status.value().ip;
        std::vector<std::string> texts{ip.primary.toStrep()};
        for (auto const& addr : ip.secondary) {
            texts.push_back(addr.toStrep());
        }
        if (!ip.unnumberedSource.empty()) {
            texts.push_back("from " + ip.unnumberedSource.toStrep());
        }
        return texts;
    }
    std::vector<std::string> ip6() const {
        std::vector<std::string> texts;
        auto const status = picture().status.value();
        for (auto const& one : status.ip6) {
            texts.push_back(one.addr.toStrep() + (one.deprecated ? " deprecated" : ""));
        }
        return texts;
    }
    std::vector<std::string> places(std::uint32_t ifIndex = 3) const {
        std::vector<std::string> texts;
        auto const found = picture(ifIndex);
        for (auto const& one : found.addresses) {
            texts.push_back(fmt::format("{} {}", one.addr, toStrep(one.place)));
        }
        return texts;
    }

    Mirror mirror;
    Policy policy;
};

TEST_F(PictureTest, ALinkIsADevice) {
    Link down = linkOf(3, "eth0");
    down.up = false;
    down.operStatus = Interface::OperStatus::down;
    is(down);
    auto const status = picture().status.value();

    EXPECT_EQ(status.intf, Nimb::IntfId("eth0"));
    EXPECT_EQ(status.device.deviceName, "eth0");
    EXPECT_EQ(status.device.ifIndex, 3U);
    EXPECT_EQ(status.device.operStatus, Interface::OperStatus::down);
    EXPECT_FALSE(status.device.active);
    EXPECT_FALSE(picture(9).status);
}

TEST_F(PictureTest, ALinkWithoutANameOrThatIsNotThereIsNotPublished) {
    is(on(9, addressOf("10.0.0.1/24")));
    is(linkOf(4, "eth0"));

    EXPECT_FALSE(picture(3).status);
    EXPECT_FALSE(picture(9).status);
}

TEST_F(PictureTest, ThePrimaryIsTheFirstThatIsNotSecondary) {
    mirror.replace(
        {.links = {linkOf(3, "eth0")},
         .addresses = {on(3, secondary("10.0.0.9/24")), on(3, addressOf("10.0.0.1/24")),
                       on(3, addressOf("10.1.0.1/24")), on(3, secondary("10.0.0.2/24"))}});

    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/24", "10.0.0.2/24", "10.0.0.9/24", "10.1.0.1/24"));
}

TEST_F(PictureTest, TheOneThatIsPublishedStaysPrimaryWhileItIsNotSecondary) {
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("10.1.0.1/24")));
    EXPECT_THAT(ip4(3, "10.1.0.1/24"), ElementsAre("10.1.0.1/24", "10.0.0.1/24"));

    is(on(3, secondary("10.1.0.1/24")));
    EXPECT_THAT(ip4(3, "10.1.0.1/24"), ElementsAre("10.0.0.1/24", "10.1.0.1/24"));
    EXPECT_THAT(ip4(3, "10.7.0.1/24"), ElementsAre("10.0.0.1/24", "10.1.0.1/24"));
}

TEST_F(PictureTest, AnIp4AddressIsPublishedThoughItIsDeprecated) {
    Address old = on(3, addressOf("10.0.0.1/24"));
    old.deprecated = true;
    is(old);

    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/24"));
}

TEST_F(PictureTest, Ip6AddressesAreSortedAndBringTheirDeprecatedFlag) {
    Address old = on(3, addressOf("2001:db8::2/64"));
    old.deprecated = true;
    is(old);
    is(on(3, addressOf("2001:db8::1/64")));

    EXPECT_THAT(ip6(), ElementsAre("2001:db8::1/64", "2001:db8::2/64 deprecated"));
}

TEST_F(PictureTest, ADeprecatedLinkLocalAddressIsPublishedAsPreferredAndMarked) {
    Address old = on(3, addressOf("fe80::1/64"));
    old.deprecated = true;
    is(old);

    EXPECT_THAT(ip6(), ElementsAre("fe80::1/64"));
    ASSERT_EQ(picture().addresses.size(), 1U);
    EXPECT_TRUE(picture().addresses[0].deprecatedLinkLocal);
}

TEST_F(PictureTest, WhatIsNotInUseYetOrElsewhereIsNotPublished) {
    Address tentative = on(3, addressOf("2001:db8::1/64"));
    tentative.tentative = true;
    is(tentative);
    Address duplicate = on(3, addressOf("2001:db8::2/64"));
    duplicate.dadFailed = true;
    is(duplicate);
    Address optimistic = on(3, addressOf("2001:db8::3/64"));
    optimistic.tentative = true;
    optimistic.optimistic = true;
    is(optimistic);
    Address failed = on(3, addressOf("2001:db8::4/64"));
    failed.optimistic = true;
    failed.dadFailed = true;
    is(failed);

    EXPECT_THAT(ip6(), ElementsAre("2001:db8::3/64"));
    EXPECT_THAT(places(), ElementsAre("2001:db8::1/64 tentative", "2001:db8::2/64 duplicate",
                                      "2001:db8::3/64 published", "2001:db8::4/64 duplicate"));
}

TEST_F(PictureTest, WhatIsOnADeviceThatIsDownIsPublishedAndMarked) {
    is(on(3, addressOf("10.0.0.1/24")));
    EXPECT_FALSE(picture().addresses.at(0).deviceDown);
    Link noCarrier = linkOf(3, "eth0");
    noCarrier.operStatus = Interface::OperStatus::lowerLayerDown;
    is(noCarrier);
    EXPECT_TRUE(picture().addresses.at(0).deviceDown);
    Link down = linkOf(3, "eth0");
    down.up = false;
    is(down);

    EXPECT_TRUE(picture().addresses.at(0).deviceDown);
    EXPECT_EQ(picture().addresses.at(0).place, Place::published);
    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/24"));
}

TEST_F(PictureTest, ThePrefixIsThePeers) {
    is(on(3, withPeer("10.0.0.1", "10.0.0.2/30")));
    is(on(3, withPeer("10.5.0.1", "10.6.0.1/24")));

    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/30", "10.5.0.1/32"));
}

TEST_F(PictureTest, AnAddressWithTwoPeersIsPublishedOnce) {
    is(on(3, withPeer("10.5.0.1", "10.6.0.1/32")));
    is(on(3, withPeer("10.5.0.1", "10.6.0.2/32")));
    is(on(3, withPeer("10.5.0.1", "10.6.0.3/32")));

    EXPECT_THAT(ip4(), ElementsAre("10.5.0.1/32"));
    EXPECT_THAT(places(), ElementsAre("10.5.0.1/32 published", "10.5.0.1/32 repeated",
                                      "10.5.0.1/32 repeated"));
}

TEST_F(PictureTest, AnInterfaceBorrowsItsOnlyAddressWhereItStandsAloneTwice) {
    is(on(1, addressOf("10.0.0.1/32")));
    is(on(3, withPeer("10.0.0.1", "10.9.0.1/32")));
    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/32", "from lo"));
    EXPECT_THAT(ip4(1), ElementsAre("10.0.0.1/32"));

    is(on(3, addressOf("10.1.0.1/24")));
    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/32", "10.1.0.1/24"));
}

TEST_F(PictureTest, AnAddressWithTwoPeersIsBorrowedTooAsItIsOne) {
    is(on(1, addressOf("10.0.0.1/32")));
    is(on(3, withPeer("10.0.0.1", "10.9.0.1/32")));
    is(on(3, withPeer("10.0.0.1", "10.9.0.2/32")));

    EXPECT_THAT(ip4(), ElementsAre("10.0.0.1/32", "from lo"));
}

TEST_F(PictureTest, NothingIsBorrowedFromAnotherVrfOrAnOrdinaryInterfaceOrAgainstThePolicy) {
    is(linkOf(2, "red", Link::Kind::vrf));
    is(memberOf(2, 4, "eth1"));
    is(on(1, addressOf("10.0.0.1/32")));
    is(on(4, addressOf("10.0.0.1/32")));
    is(on(3, addressOf("10.0.0.2/32")));
    is(on(4, addressOf("10.0.0.2/32")));
    EXPECT_THAT(ip4(4), ElementsAre("10.0.0.1/32", "10.0.0.2/32"));
    mirror.apply(AddressGone{on(4, addressOf("10.0.0.2/32"))});
    EXPECT_THAT(ip4(4), ElementsAre("10.0.0.1/32"));
    EXPECT_THAT(ip4(3), ElementsAre("10.0.0.2/32"));

    is(on(2, addressOf("10.0.0.1/32")));
    EXPECT_THAT(ip4(4), ElementsAre("10.0.0.1/32", "from red"));
    policy.leftOut = {"red"};
    EXPECT_THAT(ip4(4), ElementsAre("10.0.0.1/32"));
    policy = {.borrows = false};
    EXPECT_THAT(ip4(4), ElementsAre("10.0.0.1/32"));
}

TEST_F(PictureTest, InterfacesAreLeftOutByTheirNames) {
    policy.leftOut = {"lo", "eth?"};
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("2001:db8::1/64")));
    is(linkOf(4, "eth10"));

    EXPECT_FALSE(picture(3).status);
    EXPECT_THAT(places(), ElementsAre("10.0.0.1/24 left out", "2001:db8::1/64 left out"));
    EXPECT_FALSE(picture(1).status);
    EXPECT_TRUE(picture(4).status);
    EXPECT_THAT(places(4), IsEmpty());
}

}  // namespace
}  // namespace Netlink
