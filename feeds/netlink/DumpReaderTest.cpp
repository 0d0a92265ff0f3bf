#include "feeds/netlink/DumpReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <system_error>

#include "feeds/netlink/TestMessages.h"

namespace Netlink {
namespace {

using namespace Messages;
using Interface::OperStatus;
using testing::ElementsAre;
using testing::IsEmpty;

struct DumpReaderTest : testing::Test {
    void read(Bytes const& datagram) { reader.read(datagram); }

    Address onlyAddress() const {
        EXPECT_EQ(snapshot.addresses.size(), 1U);
        return snapshot.addresses.empty() ? Address{} : snapshot.addresses.front();
    }

    Snapshot snapshot;
    DumpReader reader{snapshot, sequence, port};
};

TEST_F(DumpReaderTest, ALinkHasIndexNameStateAndWhetherItIsUp) {
    read(link(3, "eth0"));
    read(message(RTM_NEWLINK, linkInfo(4, 0) + name("eth1") +
                                  attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{2}))));

    EXPECT_THAT(
        snapshot.links,
        ElementsAre(
            Link{.ifIndex = 3, .name = "eth0", .operStatus = OperStatus::up, .up = true},
            Link{.ifIndex = 4, .name = "eth1", .operStatus = OperStatus::down, .up = false}));
    EXPECT_EQ(snapshot.skipped, Skipped{});
}

TEST_F(DumpReaderTest, AnOperationalStateOfALaterKernelIsUnknown) {
    read(message(RTM_NEWLINK, linkInfo(4) + name("eth1") +
                                  attribute(IFLA_OPERSTATE, bytesOf(std::uint8_t{200}))));

    ASSERT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.links[0].operStatus, OperStatus::unknown);
}

TEST_F(DumpReaderTest, TheLocalAddressOfAPointToPointLinkIsOurs) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 32) +
                                  attribute(IFA_ADDRESS, ip4(10, 0, 0, 2)) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));

    EXPECT_EQ(onlyAddress(),
              (Address{.ifIndex = 3, .addr = Nimb::IpGenAddrWithMask("10.0.0.1/32")}));
}

TEST_F(DumpReaderTest, AnIp6AddressHasNoLocalAttribute) {
    read(message(RTM_NEWADDR,
                 addressInfo(AF_INET6, 3, 64) + attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    EXPECT_EQ(onlyAddress().addr, Nimb::IpGenAddrWithMask("2001:db8::1/64"));
}

TEST_F(DumpReaderTest, TheWideFlagsRuleWhereTheyArePresent) {
    std::uint32_t const wide = IFA_F_DEPRECATED | IFA_F_MANAGETEMPADDR;
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TENTATIVE) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1)) +
                                  attribute(IFA_FLAGS, bytesOf(wide))));

    EXPECT_TRUE(onlyAddress().deprecated);
    EXPECT_FALSE(onlyAddress().tentative);
}

TEST_F(DumpReaderTest, TheShortFlagsRuleWhereTheWideAreAbsent) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TENTATIVE | IFA_F_DADFAILED) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    EXPECT_TRUE(onlyAddress().tentative);
    EXPECT_TRUE(onlyAddress().dadFailed);
    EXPECT_FALSE(onlyAddress().deprecated);
}

TEST_F(DumpReaderTest, SecondaryIsSaidOfIp4Alone) {
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24, IFA_F_SECONDARY) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));
    read(message(RTM_NEWADDR, addressInfo(AF_INET6, 3, 64, IFA_F_TEMPORARY) +
                                  attribute(IFA_ADDRESS, ip6(0x20010db8, 1))));

    ASSERT_EQ(snapshot.addresses.size(), 2U);
    EXPECT_TRUE(snapshot.addresses[0].secondary);
    EXPECT_FALSE(snapshot.addresses[1].secondary);
}

TEST_F(DumpReaderTest, OneDatagramMayBringManyMessagesAndTheEnd) {
    read(link(3, "eth0") + link(4, "eth1") + done());

    EXPECT_EQ(snapshot.links.size(), 2U);
    EXPECT_TRUE(reader.done());
    EXPECT_FALSE(reader.interrupted());
}

TEST_F(DumpReaderTest, AnInterruptionMayBeMarkedOnAnyMessage) {
    read(link(3, "eth0"));
    EXPECT_FALSE(reader.interrupted());

    read(link(4, "eth1", {.flags = NLM_F_MULTI | NLM_F_DUMP_INTR}) + link(5, "eth2") + done());
    EXPECT_TRUE(reader.interrupted());
}

TEST_F(DumpReaderTest, AnInterruptionMayBeMarkedOnTheEndAlone) {
    read(link(3, "eth0") + done({.flags = NLM_F_MULTI | NLM_F_DUMP_INTR}));

    EXPECT_TRUE(reader.done());
    EXPECT_TRUE(reader.interrupted());
}

TEST_F(DumpReaderTest, AnswersToAnotherRequestOrPortAreLeftOut) {
    read(link(3, "eth0", {.sequence = sequence - 1}) + link(4, "eth1", {.port = port + 1}) +
         done({.sequence = sequence - 1}));

    EXPECT_THAT(snapshot.links, IsEmpty());
    EXPECT_FALSE(reader.done());
    EXPECT_EQ(snapshot.skipped, (Skipped{.foreignMessages = 3}));
}

TEST_F(DumpReaderTest, ADatagramThatEndsInsideAHeaderIsCountedAsShort) {
    Bytes datagram = link(3, "eth0");
    datagram.resize(datagram.size() + 15);
    read(datagram);

    EXPECT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.skipped, (Skipped{.shortMessages = 1}));
}

TEST_F(DumpReaderTest, AMessageShorterThanItsHeaderEndsTheDatagram) {
    Bytes tiny = link(3, "eth0");
    tiny[0] = std::byte{15};
    read(tiny + link(4, "eth1"));

    EXPECT_THAT(snapshot.links, IsEmpty());
    EXPECT_EQ(snapshot.skipped, (Skipped{.shortMessages = 1}));
}

TEST_F(DumpReaderTest, MessagesWithoutTheirFixedPartAreCountedAsShort) {
    Bytes const stub(7);
    read(message(RTM_NEWLINK, stub) + message(RTM_NEWADDR, stub) + message(NLMSG_ERROR, stub) +
         link(3, "eth0"));

    EXPECT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.skipped, (Skipped{.shortMessages = 3}));
}

TEST_F(DumpReaderTest, AMessageLongerThanItsDatagramIsCountedAsOversized) {
    Bytes datagram = link(3, "eth0") + link(4, "eth1");
    datagram.pop_back();
    read(datagram);

    EXPECT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.skipped, (Skipped{.oversizedMessages = 1}));
}

TEST_F(DumpReaderTest, ALengthOfAllOnesIsCountedAsOversized) {
    Bytes datagram = link(3, "eth0");
    std::fill_n(datagram.begin(), 4, std::byte{0xff});
    read(datagram);

    EXPECT_EQ(snapshot.skipped, (Skipped{.oversizedMessages = 1}));
}

TEST_F(DumpReaderTest, UnknownMessagesAndFamiliesAreCounted) {
    read(message(RTM_NEWROUTE, Bytes(12)) + message(999, {}) +
         message(RTM_NEWADDR, addressInfo(AF_PHONET, 3, 0)) + message(NLMSG_NOOP, {}) +
         link(3, "eth0"));

    EXPECT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.skipped, (Skipped{.unknownMessages = 3}));
}

TEST_F(DumpReaderTest, UnknownAttributesAreCountedAndTheMessageIsUsed) {
    read(message(RTM_NEWLINK, linkInfo(3) + attribute(IFLA_MAX + 1, Bytes(5)) + name("eth0") +
                                  attribute(0x3fff, Bytes(0)) +
                                  attribute(IFLA_LINKINFO | NLA_F_NESTED, Bytes(8))));
    read(message(RTM_NEWADDR, addressInfo(AF_INET, 3, 24) + attribute(IFA_MAX + 1, Bytes(4)) +
                                  attribute(IFA_LOCAL, ip4(10, 0, 0, 1))));

    EXPECT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.addresses.size(), 1U);
    EXPECT_EQ(snapshot.skipped, (Skipped{.unknownAttributes = 3}));
}

TEST_F(DumpReaderTest, AMessageWithABrokenAttributeIsLeftOut) {
    Bytes overlong = name("eth0");
    overlong[0] = std::byte{0x40};
    Bytes headless = name("eth0");
    headless[0] = std::byte{3};
    read(message(RTM_NEWLINK, linkInfo(3) + overlong) +
         message(RTM_NEWLINK, linkInfo(3) + headless) +
         message(RTM_NEWLINK, linkInfo(3) + name("eth0") + Bytes(3)) + link(4, "eth1"));

    ASSERT_EQ(snapshot.links.size(), 1U);
    EXPECT_EQ(snapshot.links[0].name, Nimb::IntfId("eth1"));
    EXPECT_EQ(snapshot.skipped, (Skipped{.malformedMessages = 3}));
}

TEST_F(DumpReaderTest, ALinkWithoutNameOrIndexIsLeftOut) {
    read(message(RTM_NEWLINK, linkInfo(3)) + message(RTM_NEWLINK, linkInfo(3) + name("")) +
         message(RTM_NEWLINK, linkInfo(0) + name("eth0")) +
         message(RTM_NEWLINK, linkInfo(-1) + name("eth0")));

    EXPECT_THAT(snapshot.links, IsEmpty());
    EXPECT_EQ(snapshot.skipped, (Skipped{.malformedMessages = 4}));
}

TEST_F(DumpReaderTest, AnAddressOfTheWrongSizeOrPrefixLengthIsLeftOut) {
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

    EXPECT_THAT(snapshot.addresses, IsEmpty());
    EXPECT_EQ(snapshot.skipped, (Skipped{.malformedMessages = 8}));
}

TEST_F(DumpReaderTest, TheKernelsErrorIsThrownWithItsText) {
    nlmsgerr refusal{};
    refusal.error = -EPERM;
    try {
        read(message(NLMSG_ERROR, bytesOf(refusal)));
        FAIL();
    } catch (std::system_error const& error) {
        EXPECT_EQ(error.code(), std::errc::operation_not_permitted);
        EXPECT_THAT(error.what(), testing::HasSubstr("Operation not permitted"));
    }
}

TEST_F(DumpReaderTest, AFailureAtTheEndOfADumpIsThrown) {
    EXPECT_THROW(read(message(NLMSG_DONE, bytesOf(-ENOMEM))), std::system_error);
}

TEST_F(DumpReaderTest, NoBytesWhateverAreFatal) {
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
        Snapshot found;
        DumpReader fresh(found, sequence, port);
        try {
            fresh.read(bytes);
        } catch (std::system_error const&) {  // the bytes may spell a refusal
        }
        ASSERT_LE(found.links.size() + found.addresses.size(), 2U);
    }
}

}  // namespace
}  // namespace Netlink
