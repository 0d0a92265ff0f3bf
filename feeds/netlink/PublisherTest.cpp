#include "feeds/netlink/Publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Netlink {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

L3::VrfName const vrf("default");

Address at(std::uint32_t ifIndex, char const* addr) {
    return {.ifIndex = ifIndex, .addr = Nimb::IpGenAddrWithMask(addr)};
}

struct Fixture {
    void publish() { Netlink::publish(snapshot, vrf, inputs); }

    std::string primary(char const* intf) const {
        return inputs.ipStatus()
            ->vrfIpIntfStatus(vrf)
            ->ipIntfStatus(intf)
            ->activeAddrWithMask()
            .toStrep();
    }
    std::vector<std::string> secondaries(char const* intf) const {
        std::vector<std::string> texts;
        auto const status = inputs.ipStatus()->vrfIpIntfStatus(vrf)->ipIntfStatus(intf);
        for (auto const& member : status->secondaryActiveAddrWithMask()) {
            texts.push_back(member.key.toStrep());
        }
        return texts;
    }
    std::vector<std::string> ip6(char const* intf) const {
        std::vector<std::string> texts;
        auto const status = inputs.ip6Status()->vrfIp6IntfStatus(vrf)->intfStatus(intf);
        for (auto const& member : status->addr()) {
            texts.push_back(member.key.toStrep() + (member.value.deprecated ? " deprecated" : ""));
        }
        return texts;
    }

    Snapshot snapshot{
        .links = {
            {.ifIndex = 3, .name = "eth0", .operStatus = Interface::OperStatus::up, .up = true},
            {.ifIndex = 4,
             .name = "eth1",
             .operStatus = Interface::OperStatus::down,
             .up = false}}};
    Routing::Inputs inputs;
};

TEST(Publisher, EveryLinkIsAKernelInterface) {
    Fixture fixture;
    fixture.publish();

    auto const dir = fixture.inputs.kniIntfStatusHelper()->deviceIntfStatusDir(vrf);
    ASSERT_EQ(dir->deviceIntfStatus().size(), 2U);
    auto const eth1 = dir->deviceIntfStatus("eth1");
    EXPECT_EQ(eth1->deviceName(), "eth1");
    EXPECT_EQ(eth1->ifIndex(), 4U);
    EXPECT_EQ(eth1->operStatus(), Interface::OperStatus::down);
    EXPECT_FALSE(eth1->active());
    EXPECT_TRUE(dir->deviceIntfStatus("eth0")->active());
}

TEST(Publisher, TheFirstAddressThatIsNotSecondaryIsThePrimary) {
    Fixture fixture;
    Address secondary = at(3, "10.0.0.2/24");
    secondary.secondary = true;
    fixture.snapshot.addresses = {secondary, at(3, "10.0.0.1/24"), at(3, "10.9.0.1/16"),
                                  at(4, "192.0.2.1/32")};
    fixture.publish();

    EXPECT_EQ(fixture.primary("eth0"), "10.0.0.1/24");
    EXPECT_THAT(fixture.secondaries("eth0"), ElementsAre("10.0.0.2/24", "10.9.0.1/16"));
    EXPECT_EQ(fixture.primary("eth1"), "192.0.2.1/32");
    EXPECT_THAT(fixture.secondaries("eth1"), IsEmpty());
}

TEST(Publisher, AnIp4AddressIsPublishedThoughItIsDeprecated) {
    Fixture fixture;
    Address address = at(3, "10.0.0.1/24");
    address.deprecated = true;
    fixture.snapshot.addresses = {address};
    fixture.publish();

    EXPECT_EQ(fixture.primary("eth0"), "10.0.0.1/24");
}

TEST(Publisher, Ip6AddressesBringTheirDeprecatedFlag) {
    Fixture fixture;
    Address old = at(3, "2001:db8::2/64");
    old.deprecated = true;
    fixture.snapshot.addresses = {at(3, "2001:db8::1/64"), old, at(3, "10.0.0.1/24")};
    fixture.publish();

    EXPECT_THAT(fixture.ip6("eth0"), ElementsAre("2001:db8::1/64", "2001:db8::2/64 deprecated"));
    EXPECT_THAT(fixture.ip6("eth1"), IsEmpty());
}

TEST(Publisher, ADeprecatedLinkLocalAddressIsPublishedAsNotDeprecated) {
    Fixture fixture;
    Address linkLocal = at(3, "fe80::1/64");
    linkLocal.deprecated = true;
    fixture.snapshot.addresses = {linkLocal};
    fixture.publish();

    EXPECT_THAT(fixture.ip6("eth0"), ElementsAre("fe80::1/64"));
}

TEST(Publisher, TentativeAndDuplicateAddressesAreNotPublished) {
    Fixture fixture;
    Address tentative = at(3, "2001:db8::1/64");
    tentative.tentative = true;
    Address duplicate = at(3, "2001:db8::2/64");
    duplicate.dadFailed = true;
    fixture.snapshot.addresses = {tentative, duplicate, at(3, "2001:db8::3/64")};
    fixture.publish();

    EXPECT_THAT(fixture.ip6("eth0"), ElementsAre("2001:db8::3/64"));
}

TEST(Publisher, AddressesOfALinkThatIsNotThereAreLeftOut) {
    Fixture fixture;
    fixture.snapshot.addresses = {at(3, "10.0.0.1/24"), at(99, "10.1.0.1/24")};
    fixture.publish();

    EXPECT_EQ(fixture.inputs.ipStatus()->vrfIpIntfStatus(vrf)->ipIntfStatus().size(), 2U);
    EXPECT_EQ(fixture.primary("eth0"), "10.0.0.1/24");
}

}  // namespace
}  // namespace Netlink
