#include "feeds/netlink/Message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <random>
#include <string_view>
#include <variant>
#include <vector>

#include "feeds/netlink/TestMessages.h"

namespace Netlink {
namespace {

using namespace Messages;
using Interface::OperStatus;
using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
std::vector<T> changesOf(std::vector<Message> const& messages) {
    std::vector<T> found;
    for (Message const& message : messages) {
        if (auto const* const change = std::get_if<Change>(&message.content)) {
            if (auto const* const one = std::get_if<T>(change)) {
                found.push_back(*one);
            }
        }
    }
    return found;
}

struct MessageTest : testing::Test {
    void read(Bytes const& datagram) {
        readMessages(datagram, skipped,
                     [this](Message const& message) { messages.push_back(message); });
    }

    std::vector<Link> links() const {
        std::vector<Link> all;
        for (LinkIs const& change : changesOf<LinkIs>(messages)) {
            all.push_back(change.link);
        }
        return all;
    }
    std::vector<Address> addresses() const {
        std::vector<Address> all;
        for (AddressIs const& change : changesOf<AddressIs>(messages)) {
            all.push_back(change.address);
        }
        return all;
    }
    Address onlyAddress() const {
        EXPECT_EQ(addresses().size(), 1U);
        return addresses().empty() ? Address{} : addresses().front();
    }

    std::vector<Message> messages;
    Skipped skipped;
};

TEST_F(MessageTest, ALinkHasIndexNameStateAndWhetherItIsUp) {
    read(link(3, "eth0"));
    read(message(RTM_NEWLINK, linkInfo(4, 0) + name("eth1") +
                                  attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{2}))));

    EXPECT_THAT(
        links(),
        ElementsAre(
            Link{.ifIndex = 3, .name = "eth0", .operStatus = OperStatus::up, .up = true},
            Link{.ifIndex = 4, .name = "eth1", .operStatus = OperStatus::down, .up = false}));
    EXPECT_EQ(skipped, Skipped{});
}

TEST_F(MessageTest, AnOperationalStateOfALaterKernelIsUnknown) {
    read(message(RTM_NEWLINK, linkInfo(4) + name("eth1") +
                                  attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{200}))));

    ASSERT_EQ(links().size(), 1U);
    EXPECT_EQ(links()[0].operStatus, OperStatus::unknown);
}

TEST_F(MessageTest, TheLocalAddressOfAPointToPointLinkIsOurs) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 32) +
                                  attribute(IFA_ADDRESS, ip4(10, 0, 0, 2)) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));

    EXPECT_EQ(onlyAddress().local, Nimb::IpGenAddr("10.0.0.1"));
    EXPECT_EQ(onlyAddress().peer, Nimb::IpGenAddr("10.0.0.2"));
    EXPECT_EQ(onlyAddress().ifIndex, 3U);
}

TEST_F(MessageTest, AnIp6AddressHasNoLocalAttribute) {
    read(message(RTM_NEWADDR,
                 addressInfo(AF_INET6, 3, 64) + attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    EXPECT_EQ(onlyAddress().withMask(), Nimb::IpGenAddrWithMask("2001:db8::1/64"));
}

TEST_F(MessageTest, TheWideFlagsRuleWhereTheyArePresent) {
    std::uint32_t const wide = IFA_F_DEPRECATED | IFA_F_MANAGETEMPADDR;
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TENTATIVE) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1)) +
                                  attribute(IFA_FLAGS, bytesOf(wide))));

    EXPECT_TRUE(onlyAddress().deprecated);
    EXPECT_FALSE(onlyAddress().tentative);
}

TEST_F(MessageTest, TheShortFlagsRuleWhereTheWideAreAbsent) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TENTATIVE | IFA_F_DADFAILED) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    EXPECT_TRUE(onlyAddress().tentative);
    EXPECT_TRUE(onlyAddress().dadFailed);
    EXPECT_FALSE(onlyAddress().deprecated);
}

TEST_F(MessageTest, SecondaryIsSaidOfIp4Alone) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24, IFA_F_SECONDARY) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TEMPORARY) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    ASSERT_EQ(addresses().size(), 2U);
    EXPECT_TRUE(addresses()[0].secondary);
    EXPECT_FALSE(addresses()[1].secondary);
}

TEST_F(MessageTest, APreferredLifetimeThatIsOverSaysDeprecatedToo) {
    auto const old = [](std::uint32_t preferred) {
        ifa_cacheinfo const cache{
            .ifa_prefered = preferred, .ifa_valid = 100, .cstamp = 0, .tstamp = 0};
        return message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64) +
                                        attribute(IFA_ADDRESS, ip6(0x20010db8, 1)) +
                                        attribute(IFA_CACHEINFO, bytesOf(cache)));
    };
    read(old(0) + old(1));

    ASSERT_EQ(addresses().size(), 2U);
    EXPECT_TRUE(addresses()[0].deprecated);
    EXPECT_FALSE(addresses()[1].deprecated);
}

TEST_F(MessageTest, AnAddressThatDoesNotLieInItsPeersPrefixStandsAlone) {
    Address address{.local = Nimb::IpGenAddr("10.0.0.1"),
                    .peer = Nimb::IpGenAddr("10.0.0.2"),
                    .prefixLength = 24};
    EXPECT_EQ(address.withMask(), Nimb::IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_FALSE(address.isHost());

    address.peer = Nimb::IpGenAddr("10.9.0.2");
    EXPECT_EQ(address.withMask(), Nimb::IpGenAddrWithMask("10.0.0.1/32"));
    EXPECT_TRUE(address.isHost());

    Address const ip6{.local = Nimb::IpGenAddr("2001:db8::1"),
                      .peer = Nimb::IpGenAddr("2001:db9::2"),
                      .prefixLength = 64};
    EXPECT_EQ(ip6.withMask(), Nimb::IpGenAddrWithMask("2001:db8::1/128"));
}

TEST_F(MessageTest, ALinkHasAMasterAndAKind) {
    auto const kind = [](std::string_view text) {
        return attribute(IFLA_LINKINFO, attribute(IFLA_INFO_KIND, bytesOf(text) + Bytes(1)));
    };
    read(message(RTM_NEWLINK, linkInfo(3) + name("red") + kind("vrf")) +
         message(RTM_NEWLINK, linkInfo(4) + name("eth0") + kind("veth") +
                                  attribute(IFLA_MASTER, bytesOf(std::uint32_t{3}))) +
         message(RTM_NEWLINK, linkInfo(5) + name("d0") + kind("dummy")) +
         message(RTM_NEWLINK, linkInfo(1, IFF_UP | IFF_LOOPBACK) + name("lo")));

    ASSERT_EQ(links().size(), 4U);
    EXPECT_EQ(links()[0].kind, Link::Kind::vrf);
    EXPECT_EQ(links()[0].master, 0U);
    EXPECT_EQ(links()[1].kind, Link::Kind::other);
    EXPECT_EQ(links()[1].master, 3U);
    EXPECT_EQ(links()[2].kind, Link::Kind::dummy);
    EXPECT_EQ(links()[3].kind, Link::Kind::loopback);
}

TEST_F(MessageTest, WhatGoesIsToldByItsKey) {
    read(
        message(RTM_DELLINK, linkInfo(3)) +
        message(RTM_DELADDR, addressInfo(AF_INET, 4, 24) + attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));

    ASSERT_EQ(changesOf<LinkGone>(messages).size(), 1U);
    EXPECT_EQ(changesOf<LinkGone>(messages)[0].ifIndex, 3U);
    ASSERT_EQ(changesOf<AddressGone>(messages).size(), 1U);
    EXPECT_EQ(changesOf<AddressGone>(messages)[0].address.withMask(),
              Nimb::IpGenAddrWithMask("10.0.0.1/24"));
}

TEST_F(MessageTest, WhatABridgeSaysOfItsPortsIsNotSaidOfTheLinks) {
    auto const ofBridge = [](unsigned type) {
        ifinfomsg info{};
        info.ifi_family = AF_BRIDGE;
        info.ifi_index = 3;
        return message(type, bytesOf(info) + name("eth0"));
    };
    read(ofBridge(RTM_NEWLINK) + ofBridge(RTM_DELLINK));

    EXPECT_THAT(messages, IsEmpty());
    EXPECT_EQ(skipped, Skipped{});
}

TEST_F(MessageTest, AnEventOfTheRadioSaysNothingOfItsLink) {
    read(message(RTM_NEWLINK, linkInfo(3) + name("wlan0") + attribute(IFLA_WIRELESS, Bytes(8))));

    EXPECT_THAT(messages, IsEmpty());
    EXPECT_EQ(skipped, Skipped{});
}

TEST_F(MessageTest, EachMessageSaysWhoseAnswerItIsAndWhetherItWasInterrupted) {
    read(link(3, "eth0") + link(4, "eth1", {.flags = NLM_F_MULTI | NLM_F_DUMP_INTR}) + done());

    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].sequence, sequence);
    EXPECT_EQ(messages[0].port, port);
    EXPECT_FALSE(messages[0].interrupted);
    EXPECT_TRUE(messages[1].interrupted);
    EXPECT_EQ(std::get<End>(messages[2].content).error, 0);
}

TEST_F(MessageTest, TheKernelMaySayThatItLostMessages) {
    read(message(NLMSG_OVERRUN, {}));

    ASSERT_EQ(messages.size(), 1U);
    EXPECT_TRUE(std::holds_alternative<Overrun>(messages[0].content));
}

TEST_F(MessageTest, ADatagramThatEndsInsideAHeaderIsCountedAsShort) {
    Bytes datagram = link(3, "eth0");
    datagram.resize(datagram.size() + 15);
    read(datagram);

    EXPECT_EQ(links().size(), 1U);
    EXPECT_EQ(skipped, (Skipped{.shortMessages = 1}));
}

TEST_F(MessageTest, AMessageShorterThanItsHeaderEndsTheDatagram) {
    Bytes tiny = link(3, "eth0");
    tiny[0] = std::byte{15};
    read(tiny + link(4, "eth1"));

    EXPECT_THAT(links(), IsEmpty());
    EXPECT_EQ(skipped, (Skipped{.shortMessages = 1}));
}

TEST_F(MessageTest, MessagesWithoutTheirFixedPartAreCountedAsShort) {
    Bytes const stub(7);
    read(message(RTM_NEWLINK, stub) + message(RTM_NEWADDR, stub) + message(NLMSG_ERROR, stub) +
         link(3, "eth0"));

    EXPECT_EQ(links().size(), 1U);
    EXPECT_EQ(skipped, (Skipped{.shortMessages = 3}));
}

TEST_F(MessageTest, AMessageLongerThanItsDatagramIsCountedAsOversized) {
    Bytes datagram = link(3, "eth0") + link(4, "eth1");
    datagram.pop_back();
    read(datagram);

    EXPECT_EQ(links().size(), 1U);
    EXPECT_EQ(skipped, (Skipped{.oversizedMessages = 1}));
}

TEST_F(MessageTest, ALengthOfAllOnesIsCountedAsOversized) {
    Bytes datagram = link(3, "eth0");
    std::fill_n(datagram.begin(), 4, std::byte{0xff});
    read(datagram);

    EXPECT_EQ(skipped, (Skipped{.oversizedMessages = 1}));
}

TEST_F(MessageTest, UnknownMessagesAndFamiliesAreCounted) {
    read(message(RTM_NEWROUTE, Bytes(12)) + message(999, {}) +
         message(RTM_NEWADDR, addressInfo(AF_PHONET, 3, 0)) + message(NLMSG_NOOP, {}) +
         link(3, "eth0"));

    EXPECT_EQ(links().size(), 1U);
    EXPECT_EQ(skipped, (Skipped{.unknownMessages = 3}));
}

TEST_F(MessageTest, UnknownAttributesAreCountedAndTheMessageIsUsed) {
    read(
        message(RTM_NEWLINK, linkInfo(3) + attribute(IFLA_MAX + 1, Bytes(5)) + name("eth0") +
                                 attribute(0x3fff, Bytes(0)) +
                                 attribute(IFLA_LINKINFO | NLA_F_NESTED, attribute(99, Bytes(4)))));
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24) + attribute(IFA_MAX + 1, Bytes(4)) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));

    EXPECT_EQ(links().size(), 1U);
    EXPECT_EQ(addresses().size(), 1U);
    EXPECT_EQ(skipped, (Skipped{.unknownAttributes = 3}));
}

TEST_F(MessageTest, AMessageWithABrokenAttributeIsLeftOut) {
    Bytes overlong = name("eth0");
    overlong[0] = std::byte{0x40};
    Bytes headless = name("eth0");
    headless[0] = std::byte{3};
    read(message(RTM_NEWLINK, linkInfo(3) + overlong) +
         message(RTM_NEWLINK, linkInfo(3) + headless) +
         message(RTM_NEWLINK, linkInfo(3) + name("eth0") + Bytes(3)) + link(4, "eth1"));

    ASSERT_EQ(links().size(), 1U);
    EXPECT_EQ(links()[0].name, Nimb::IntfId("eth1"));
    EXPECT_EQ(skipped, (Skipped{.malformedMessages = 3}));
}

TEST_F(MessageTest, ALinkWithoutNameOrIndexIsLeftOut) {
    read(message(RTM_NEWLINK, linkInfo(3)) + message(RTM_NEWLINK, linkInfo(3) + name("")) +
         message(RTM_NEWLINK, linkInfo(0) + name("eth0")) +
         message(RTM_NEWLINK, linkInfo(-1) + name("eth0")));

    EXPECT_THAT(links(), IsEmpty());
    EXPECT_EQ(skipped, (Skipped{.malformedMessages = 4}));
}

TEST_F(MessageTest, AnAddressOfTheWrongSizeOrPrefixLengthIsLeftOut) {
    auto const ip4Local = attribute(IFA_LOCAL, ip4(10, 0, 0, 1));
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24) + attribute(IFA_LOCAL, Bytes(3))) +
         message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24) + attribute(IFA_LOCAL, Bytes(16))) +
         message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64) + ip4Local) +
         message(RTM_NEWADDR, addressInfo(AF_INET, 3, 33) + ip4Local) +
         message(RTM_NEWADDR,
                 addressInfo(AF_INET6, 3, 129) + attribute(IFA_ADDRESS, ip6(0x20010db8, 1))) +
         message(RTM_NEWADDR, addressInfo(AF_INET, 0, 24) + ip4Local) +
         message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24)) +
         message(RTM_NEWADDR,
                 addressInfo(AF_INET, 3, 24) + ip4Local + attribute(IFA_FLAGS, Bytes(1))));

    EXPECT_THAT(addresses(), IsEmpty());
    EXPECT_EQ(skipped, (Skipped{.malformedMessages = 8}));
}

TEST_F(MessageTest, BothEndsOfAnAnswerMaySayThatItFailed) {
    nlmsgerr refusal{};
    refusal.error = -EPERM;
    read(message(NLMSG_ERROR, bytesOf(refusal)) + message(NLMSG_DONE, bytesOf(-ENOMEM)) +
         message(NLMSG_DONE, bytesOf(std::numeric_limits<int>::min())) +
         message(NLMSG_DONE, bytesOf(7)) + message(NLMSG_DONE, {}));

    std::vector<int> errors;
    for (Message const& end : messages) {
        errors.push_back(std::get<End>(end.content).error);
    }
    EXPECT_THAT(errors, ElementsAre(EPERM, ENOMEM, 4095, 0, 0));
}

TEST_F(MessageTest, NoBytesWhateverAreFatal) {
    std::mt19937 random(20260101);
    Bytes const wellFormed = link(3, "eth0") +
                             message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64) +
                                                      attribute(IFA_ADDRESS, ip6(0x20010db8, 1))) +
                             done();
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes = wellFormed;
        for (int change = 0; change < 4; ++change) {
            bytes[random() % bytes.size()] = static_cast<std::byte>(random() & 0xff);
        }
        bytes.resize(random() % (bytes.size() + 1));
        int count = 0;
        readMessages(bytes, skipped, [&count](Message const&) { ++count; });
        ASSERT_LE(count, 3);
    }
}

}  // namespace
}  // namespace Netlink
