#include "feeds/netlink/Mirror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "feeds/netlink/TestAddresses.h"

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct MirrorTest : testing::Test {
    void is(Link const& link) { mirror.apply(LinkIs{link}); }
    void is(Address const& address) { mirror.apply(AddressIs{address}); }
    void gone(std::uint32_t ifIndex) { mirror.apply(LinkGone{ifIndex}); }
    void gone(Address const& address) { mirror.apply(AddressGone{address}); }
    auto touched() { return mirror.takeTouched(); }

    std::string vrfOf(std::uint32_t ifIndex) const {
        auto const device = mirror.vrfDevice(ifIndex);
        return !device ? "a circle" : *device ? std::string((*device)->name.name()) : "none";
    }

    Mirror mirror;
};

TEST_F(MirrorTest, AnAddressMayComeBeforeItsLink) {
    is(on(3, addressOf("10.0.0.1/24")));
    ASSERT_TRUE(mirror.find(3));
    EXPECT_FALSE(mirror.find(3)->link);

    is(linkOf(3, "eth0"));
    EXPECT_EQ(mirror.find(3)->ip4.list().size(), 1U);
    EXPECT_EQ(mirror.find(3)->link->name, Nimb::IntfId("eth0"));
}

TEST_F(MirrorTest, WhatNeverGetsALinkLeavesNothing) {
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("2001:db8::1/64")));
    gone(on(3, addressOf("10.0.0.1/24")));
    gone(on(3, addressOf("2001:db8::1/64")));

    EXPECT_THAT(mirror.links(), IsEmpty());
}

TEST_F(MirrorTest, ALinkTakesItsAddressesWithIt) {
    is(linkOf(3, "eth0"));
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("2001:db8::1/64")));
    gone(3);
    EXPECT_FALSE(mirror.find(3));

    is(linkOf(3, "eth1"));  // the index again
    EXPECT_THAT(mirror.find(3)->ip4.list(), IsEmpty());
    EXPECT_THAT(mirror.find(3)->ip6, IsEmpty());
}

TEST_F(MirrorTest, WhatIsTheSameTouchesNothing) {
    is(linkOf(3, "eth0"));
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("2001:db8::1/64")));
    EXPECT_THAT(touched(), ElementsAre(3));

    is(linkOf(3, "eth0"));
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("2001:db8::1/64")));
    gone(on(3, addressOf("10.0.0.2/24")));
    gone(on(4, addressOf("10.0.0.1/24")));
    gone(4);
    EXPECT_THAT(touched(), IsEmpty());
}

TEST_F(MirrorTest, AnIp6AddressIsThereOnceWhateverItsLength) {
    is(linkOf(3, "eth0"));
    is(on(3, addressOf("2001:db8::1/64")));
    is(on(3, addressOf("2001:db8::1/48")));

    ASSERT_EQ(mirror.find(3)->ip6.size(), 1U);
    EXPECT_EQ(mirror.find(3)->ip6.begin()->second.prefixLength, 48);
}

TEST_F(MirrorTest, NamesMayBeSwapped) {
    is(linkOf(3, "a"));
    is(linkOf(4, "b"));
    is(linkOf(3, "tmp"));
    is(linkOf(4, "a"));
    is(linkOf(3, "b"));

    EXPECT_EQ(mirror.find(3)->link->name, Nimb::IntfId("b"));
    EXPECT_EQ(mirror.find(4)->link->name, Nimb::IntfId("a"));
}

TEST_F(MirrorTest, AnotherLinkWithItsNameLeavesALinkNameless) {
    is(linkOf(3, "a"));
    touched();
    is(linkOf(4, "a"));
    EXPECT_THAT(touched(), ElementsAre(3, 4));
    EXPECT_TRUE(mirror.find(3)->link->name.empty());

    is(linkOf(3, "b"));
    EXPECT_EQ(mirror.find(3)->link->name, Nimb::IntfId("b"));
    EXPECT_EQ(mirror.find(4)->link->name, Nimb::IntfId("a"));
}

TEST_F(MirrorTest, ANamelessLinkMayBeToldOfAndGo) {
    is(linkOf(3, "a"));
    is(linkOf(4, "a"));
    gone(3);
    is(linkOf(5, "a"));
    gone(4);

    EXPECT_EQ(mirror.links().size(), 1U);
    EXPECT_EQ(mirror.find(5)->link->name, Nimb::IntfId("a"));
}

TEST_F(MirrorTest, TheVrfIsTheFirstDeviceOnTheWayUpBeginningWithTheLinkItself) {
    is(linkOf(2, "red", Link::Kind::vrf));
    is(memberOf(2, 3, "br0"));
    is(memberOf(3, 4, "eth0"));
    is(linkOf(5, "eth1"));
    is(memberOf(99, 6, "eth2"));

    EXPECT_EQ(vrfOf(2), "red");
    EXPECT_EQ(vrfOf(3), "red");
    EXPECT_EQ(vrfOf(4), "red");
    EXPECT_EQ(vrfOf(5), "none");
    EXPECT_EQ(vrfOf(6), "none");  // its master has not been told of
    EXPECT_EQ(vrfOf(7), "none");
    EXPECT_THAT(mirror.vrfDevices(), ElementsAre(2));
    is(linkOf(5, "blue", Link::Kind::vrf));
    is(linkOf(2, "red"));
    EXPECT_THAT(mirror.vrfDevices(), ElementsAre(5));
    gone(5);
    EXPECT_THAT(mirror.vrfDevices(), IsEmpty());
}

TEST_F(MirrorTest, MastersThatGoInACircleAreAnError) {
    is(memberOf(4, 3, "a"));
    is(memberOf(3, 4, "b"));
    is(memberOf(5, 5, "c"));

    EXPECT_EQ(vrfOf(3), "a circle");
    EXPECT_EQ(vrfOf(5), "a circle");
}

TEST_F(MirrorTest, WhatBelongsToALinkIsLookedAtWithIt) {
    is(linkOf(2, "red", Link::Kind::vrf));
    is(memberOf(2, 3, "br0"));
    is(memberOf(3, 4, "eth0"));
    is(linkOf(5, "eth1"));
    touched();

    is(linkOf(2, "blue", Link::Kind::vrf));
    EXPECT_THAT(touched(), ElementsAre(2, 3, 4));
    is(linkOf(3, "br0"));
    EXPECT_THAT(touched(), ElementsAre(3, 4));
    Link down = linkOf(3, "br0");
    down.up = false;
    is(down);
    EXPECT_THAT(touched(), ElementsAre(3));
    gone(3);
    EXPECT_THAT(touched(), ElementsAre(3, 4));
}

TEST_F(MirrorTest, WhoMayBorrowAnAddressIsLookedAtWithIt) {
    is(linkOf(1, "lo", Link::Kind::loopback));
    is(linkOf(3, "eth0"));
    is(linkOf(4, "eth1"));
    is(on(3, addressOf("10.0.0.1/32")));
    is(on(4, addressOf("10.0.0.2/32")));
    touched();

    is(on(1, addressOf("10.0.0.1/32")));
    EXPECT_THAT(touched(), ElementsAre(1, 3));
    ASSERT_EQ(mirror.lenders(Nimb::IpGenAddr("10.0.0.1")).size(), 1U);
    EXPECT_EQ(mirror.lenders(Nimb::IpGenAddr("10.0.0.1"))[0]->ifIndex, 1U);
    EXPECT_THAT(mirror.lenders(Nimb::IpGenAddr("10.0.0.2")), IsEmpty());

    is(linkOf(1, "lo0", Link::Kind::loopback));
    EXPECT_THAT(touched(), ElementsAre(1, 3));
    gone(on(1, addressOf("10.0.0.1/32")));
    EXPECT_THAT(touched(), ElementsAre(1, 3));
    is(on(1, addressOf("10.0.0.1/32")));
    touched();
    gone(1);
    EXPECT_THAT(touched(), ElementsAre(1, 3));
}

TEST_F(MirrorTest, WhoBorrowsFromALinkIsLookedAtWhenItIsAnotherOneByNow) {
    is(linkOf(1, "dummy0", Link::Kind::dummy));
    is(linkOf(3, "eth0"));
    is(on(1, addressOf("10.0.0.1/32")));
    is(on(3, addressOf("10.0.0.1/32")));
    touched();
    is(linkOf(1, "veth9"));

    EXPECT_THAT(touched(), ElementsAre(1, 3));
}

TEST_F(MirrorTest, AWholeDumpReplacesWhatIsThereAndTouchesWhatDiffers) {
    is(linkOf(1, "lo", Link::Kind::loopback));
    is(linkOf(3, "eth0"));
    is(linkOf(4, "eth1"));
    is(on(3, addressOf("10.0.0.1/24")));
    is(on(3, addressOf("10.1.0.1/24")));
    is(on(4, addressOf("10.2.0.1/24")));
    is(on(9, addressOf("10.9.0.1/24")));
    touched();

    mirror.replace(
        {.links = {linkOf(1, "lo", Link::Kind::loopback), linkOf(3, "eth0"), linkOf(5, "eth2")},
         .addresses = {on(3, addressOf("10.1.0.1/24")), on(3, addressOf("10.0.0.1/24")),
                       on(5, addressOf("2001:db8::1/64"))}});

    EXPECT_THAT(touched(), ElementsAre(3, 4, 5, 9));
    EXPECT_FALSE(mirror.find(4));
    EXPECT_FALSE(mirror.find(9));
    EXPECT_EQ(mirror.find(3)->ip4.list()[0].local, Nimb::IpGenAddr("10.1.0.1"));
    EXPECT_EQ(mirror.find(5)->ip6.size(), 1U);
}

TEST_F(MirrorTest, ADumpThatMayMissThingsOnlyAdds) {
    is(linkOf(3, "eth0"));
    is(on(3, addressOf("10.0.0.1/24")));
    mirror.add({.links = {linkOf(4, "eth1")}, .addresses = {on(3, addressOf("10.1.0.1/24"))}});

    EXPECT_EQ(mirror.find(3)->ip4.list().size(), 2U);
    EXPECT_TRUE(mirror.find(4));
}

}  // namespace
}  // namespace Netlink
