#include "feeds/netlink/SnapshotTaker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <stdexcept>
#include <system_error>

#include "feeds/netlink/TestMessages.h"

namespace Netlink {
namespace {

using namespace Messages;
using testing::ElementsAre;
using testing::SizeIs;

// Answers the n-th request with the n-th list of datagrams; an empty datagram stands for a loss.
class ScriptedChannel final : public Channel {
public:
    using Answer = std::deque<Bytes>;

    explicit ScriptedChannel(std::deque<Answer> answers) : answers_(std::move(answers)) {}

    std::uint32_t port() const override { return Messages::port; }

    void send(std::span<std::byte const> request) override {
        nlmsghdr header;
        ASSERT_GE(request.size(), sizeof header);
        std::memcpy(&header, request.data(), sizeof header);
        EXPECT_EQ(header.nlmsg_len, request.size());
        EXPECT_EQ(header.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
        asked.push_back(header.nlmsg_type);
        sequence_ = header.nlmsg_seq;
        pending_ = answers_.at(asked.size() - 1);
    }

    Received receive(std::span<std::byte> buffer) override {
        if (!strangers.empty()) {
            Bytes const datagram = strangers.front();
            strangers.pop_front();
            std::ranges::copy(datagram, buffer.begin());
            return {.size = datagram.size(), .sender = 99};
        }
        if (pending_.empty() || pending_.front().empty()) {
            throw std::system_error(pending_.empty() ? EAGAIN : ENOBUFS, std::generic_category());
        }
        Bytes datagram = pending_.front();
        pending_.pop_front();
        for (std::size_t at = 0; at < datagram.size();) {
            nlmsghdr header;
            std::memcpy(&header, &datagram[at], sizeof header);
            header.nlmsg_seq = sequence_;
            std::memcpy(&datagram[at], &header, sizeof header);
            at += NLMSG_ALIGN(header.nlmsg_len);
        }
        std::ranges::copy(std::span(datagram).first(std::min(datagram.size(), buffer.size())),
                          buffer.begin());
        return {.size = datagram.size(), .sender = 0};
    }

    std::vector<unsigned> asked;
    // Arrive before anything else, from another process.
    std::deque<Bytes> strangers;

private:
    std::deque<Answer> answers_;
    std::deque<Bytes> pending_;
    std::uint32_t sequence_ = 0;
};

Bytes address(unsigned ifIndex, std::uint8_t last) {
    return message(RTM_NEWADDR,
                   addressInfo(AF_INET, ifIndex, 24) + attribute(IFA_LOCAL, ip4(10, 0, 0, last)));
}

Envelope const interrupted{.flags = NLM_F_MULTI | NLM_F_DUMP_INTR};

// The n-th channel that is opened is the n-th of these.
struct Opener {
    std::unique_ptr<Channel> operator()() {
        auto const& answers = scripts.at(opened < scripts.size() ? opened : scripts.size() - 1);
        ++opened;
        auto channel = std::make_unique<ScriptedChannel>(answers);
        channel->strangers = strangers;
        return channel;
    }
    std::vector<std::deque<ScriptedChannel::Answer>> scripts;
    std::deque<Bytes> strangers{};
    std::size_t opened = 0;
};

void noPause(std::chrono::milliseconds) {}

TEST(SnapshotTaker, SortsByInterfaceIndexAndKeepsTheKernelsOrderOnEachInterface) {
    Opener opener{.scripts = {{{link(4, "eth1"), link(3, "eth0") + done()},
                               {address(4, 9), address(3, 7), address(4, 1) + done()}}}};

    Snapshot const snapshot = takeSnapshot(std::ref(opener), noPause);

    ASSERT_THAT(snapshot.links, SizeIs(2));
    EXPECT_EQ(snapshot.links[0].ifIndex, 3U);
    ASSERT_THAT(snapshot.addresses, SizeIs(3));
    EXPECT_EQ(snapshot.addresses[0].addr.toStrep(), "10.0.0.7/24");
    EXPECT_EQ(snapshot.addresses[1].addr.toStrep(), "10.0.0.9/24");
    EXPECT_EQ(snapshot.addresses[2].addr.toStrep(), "10.0.0.1/24");
}

TEST(SnapshotTaker, AnInterruptedDumpIsTakenAgainFromTheStart) {
    Opener opener{.scripts = {{{link(3, "old") + done()}, {address(3, 1) + done(interrupted)}},
                              {{link(3, "eth0") + done()}, {address(3, 2) + done()}}}};

    Snapshot const snapshot = takeSnapshot(std::ref(opener), noPause);

    EXPECT_EQ(opener.opened, 2U);
    ASSERT_THAT(snapshot.links, SizeIs(1));
    EXPECT_EQ(snapshot.links[0].name, Nimb::IntfId("eth0"));
    ASSERT_THAT(snapshot.addresses, SizeIs(1));
    EXPECT_EQ(snapshot.addresses[0].addr.toStrep(), "10.0.0.2/24");
}

TEST(SnapshotTaker, LostDatagramsAreAskedForAgain) {
    Opener opener{
        .scripts = {{{link(3, "old"), Bytes{}}, {}}, {{link(3, "eth0") + done()}, {done()}}}};

    Snapshot const snapshot = takeSnapshot(std::ref(opener), noPause);

    EXPECT_EQ(opener.opened, 2U);
    ASSERT_THAT(snapshot.links, SizeIs(1));
    EXPECT_EQ(snapshot.links[0].name, Nimb::IntfId("eth0"));
}

TEST(SnapshotTaker, ADatagramLongerThanTheBufferIsAskedForAgainAndThenReadWhole) {
    constexpr int links = 8000;
    Bytes all;
    for (int ifIndex = 1; ifIndex <= links; ++ifIndex) {
        Bytes const one = link(ifIndex, "eth" + std::to_string(ifIndex));
        all.insert(all.end(), one.begin(), one.end());
    }
    // Cut, the datagram ends within a message or between two, and then looks whole.
    Opener opener{.scripts = {{{all, done()}, {done()}}}};

    Snapshot const snapshot = takeSnapshot(std::ref(opener), noPause);

    EXPECT_EQ(opener.opened, 2U);
    EXPECT_THAT(snapshot.links, SizeIs(links));
    EXPECT_EQ(snapshot.skipped.damaged(), 0U);
}

TEST(SnapshotTaker, WhatAnotherProcessSendsIsCountedAndLeftOut) {
    Opener opener{.scripts = {{{link(3, "eth0") + done()}, {done()}}},
                  .strangers = {link(4, "forged", {.sequence = 1}) + done({.sequence = 1})}};

    Snapshot const snapshot = takeSnapshot(std::ref(opener), noPause);

    ASSERT_THAT(snapshot.links, SizeIs(1));
    EXPECT_EQ(snapshot.links[0].name, Nimb::IntfId("eth0"));
    EXPECT_EQ(snapshot.skipped.foreignMessages, 1U);
}

TEST(SnapshotTaker, PausesTwiceAsLongBeforeEachFurtherAttempt) {
    Opener opener{.scripts = {{{done(interrupted)}, {done()}}}};
    std::vector<std::chrono::milliseconds::rep> pauses;

    EXPECT_THROW(
        takeSnapshot(std::ref(opener),
                     [&](std::chrono::milliseconds time) { pauses.push_back(time.count()); }),
        std::runtime_error);
    EXPECT_THAT(pauses, ElementsAre(1, 2, 4, 8, 16, 32, 64, 128, 256));
}

TEST(SnapshotTaker, GivesUpWhereEveryDumpIsInterrupted) {
    Opener opener{.scripts = {{{done(interrupted)}, {done()}}}};

    EXPECT_THROW(takeSnapshot(std::ref(opener), noPause), std::runtime_error);
    EXPECT_EQ(opener.opened, static_cast<std::size_t>(maxSnapshotAttempts));
}

TEST(SnapshotTaker, OtherFailuresOfTheChannelReachTheCaller) {
    Opener opener{.scripts = {{{link(3, "eth0")}, {}}}};

    EXPECT_THROW(takeSnapshot(std::ref(opener), noPause), std::system_error);
    EXPECT_EQ(opener.opened, 1U);
}

TEST(SnapshotTaker, TheLiveKernelTellsOfTheLoopbackInterface) {
    Snapshot const snapshot = takeSnapshot();

    EXPECT_TRUE(std::ranges::any_of(snapshot.links, [](Link const& link) {
        return link.ifIndex == 1 && link.name == Nimb::IntfId("lo");
    }));
    EXPECT_EQ(snapshot.skipped.damaged(), 0U);
}

}  // namespace
}  // namespace Netlink
