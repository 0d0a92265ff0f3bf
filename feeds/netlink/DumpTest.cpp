#include "feeds/netlink/Dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

#include "feeds/netlink/TestMessages.h"

namespace Netlink {
namespace {

using namespace Messages;
using testing::ElementsAre;
using testing::HasSubstr;

// Remembers what it is asked, and answers nothing by itself.
class AskedSocket final : public Socket {
public:
    std::uint32_t port() const override { return Messages::port; }
    void send(std::span<std::byte const> request) override {
        nlmsghdr header;
        ASSERT_GE(request.size(), sizeof header);
        std::memcpy(&header, request.data(), sizeof header);
        EXPECT_EQ(header.nlmsg_len, request.size());
        EXPECT_EQ(header.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
        if (refuses) {
            throw std::system_error(EPERM, std::generic_category());
        }
        asked.push_back(header.nlmsg_type);
        sequences.push_back(header.nlmsg_seq);
    }
    std::optional<Received> receive(std::span<std::byte> /*buffer*/) override {
        return std::nullopt;
    }

    std::vector<unsigned> asked;
    std::vector<std::uint32_t> sequences;
    bool refuses = false;
};

struct DumpTest : testing::Test {
    void read(Bytes const& datagram) { dump.read(datagram, skipped); }
    static Bytes addressAt(std::uint32_t number) {
        return message(RTM_NEWADDR,
                       addressInfo(AF_INET, 3, 24) + attribute(IFA_LOCAL, ip4(10, 0, 0, 1)),
                       {.sequence = number});
    }

    AskedSocket socket;
    Skipped skipped;
    Dump dump{socket, sequence};
};

TEST_F(DumpTest, AsksForLinksAndThenForAddresses) {
    EXPECT_THAT(socket.asked, ElementsAre(RTM_GETLINK));
    read(link(3, "eth0") + done());
    EXPECT_THAT(socket.asked, ElementsAre(RTM_GETLINK, RTM_GETADDR));
    EXPECT_THAT(socket.sequences, ElementsAre(sequence, sequence + 1));
    EXPECT_FALSE(dump.isDone());
    read(addressAt(sequence + 1));
    read(done({.sequence = sequence + 1}));

    EXPECT_TRUE(dump.isDone());
    EXPECT_FALSE(dump.flaw());
    EXPECT_EQ(dump.dumped().links.size(), 1U);
    EXPECT_EQ(dump.dumped().addresses.size(), 1U);
}

TEST_F(DumpTest, AnInterruptionMayBeMarkedOnAnyMessage) {
    read(link(3, "eth0", {.flags = NLM_F_MULTI | NLM_F_DUMP_INTR}) + done());
    EXPECT_THAT(dump.flaw().value_or(""), HasSubstr("interrupted"));
    read(done({.sequence = sequence + 1}));

    EXPECT_TRUE(dump.isDone());
    EXPECT_EQ(dump.dumped().links.size(), 1U);
}

TEST_F(DumpTest, AnInterruptionMayBeMarkedOnTheEndAlone) {
    read(done({.flags = NLM_F_MULTI | NLM_F_DUMP_INTR}));

    EXPECT_TRUE(dump.flaw());
}

TEST_F(DumpTest, AnswersToSomebodyElseAreNone) {
    read(link(3, "eth0", {.sequence = sequence - 1}) + link(4, "eth1", {.port = port + 1}) +
         done({.sequence = sequence - 1}));
    EXPECT_THAT(socket.asked, ElementsAre(RTM_GETLINK));
    EXPECT_EQ(skipped, (Skipped{.foreignMessages = 3}));
    EXPECT_TRUE(dump.dumped().links.empty());
}

TEST_F(DumpTest, ARefusalAtEitherEndIsItsEnd) {
    nlmsgerr refusal{};
    refusal.error = -EPERM;
    read(message(NLMSG_ERROR, bytesOf(refusal)));
    EXPECT_TRUE(dump.isDone());
    EXPECT_THAT(dump.flaw().value_or(""), HasSubstr("Operation not permitted"));

    Dump other(socket, sequence);
    other.read(link(3, "eth0") + message(NLMSG_DONE, bytesOf(-ENOMEM)), skipped);
    EXPECT_TRUE(other.isDone());
    EXPECT_THAT(other.flaw().value_or(""), HasSubstr("Cannot allocate memory"));
    EXPECT_EQ(other.dumped().links.size(), 1U);
}

TEST_F(DumpTest, WhatIsCutMayHaveHeldAnything) {
    Bytes datagram = link(3, "eth0") + link(4, "eth1");
    datagram.pop_back();
    read(datagram);

    EXPECT_THAT(dump.flaw().value_or(""), HasSubstr("could not be read"));
}

TEST_F(DumpTest, AMessageThatMakesNoSenseMayHaveBeenOfWhatIsThere) {
    read(message(RTM_NEWLINK, linkInfo(3)) + link(4, "eth1"));

    EXPECT_THAT(dump.flaw().value_or(""), HasSubstr("could not be read"));
    EXPECT_EQ(dump.dumped().links.size(), 1U);
    EXPECT_EQ(skipped.malformedMessages, 1U);
}

TEST_F(DumpTest, TheFirstFlawIsTold) {
    dump.damage("one");
    dump.damage("two");

    EXPECT_EQ(dump.flaw(), "one");
}

TEST_F(DumpTest, WhatCannotBeSentIsAnError) {
    socket.refuses = true;
    EXPECT_THROW(Dump(socket, sequence), std::system_error);
    EXPECT_THROW(read(done()), std::system_error);
}

}  // namespace
}  // namespace Netlink
