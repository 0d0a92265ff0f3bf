#include "intfaddr/agent/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_addr.h>

#include "Zin/Format.h"
#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/scenario/Snapshot.h"
#include "feeds/scenario/TestReplay.h"
#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

struct RecordingTest : testing::Test {
    RecordingTest() {
        kernel.settings(own).linkLocal = false;
        for (auto const& [index, name] : {std::pair(7U, "eth0"), std::pair(8U, "eth1")}) {
            kernel.links().add(Netlink::Fake::LinkKind::dummy, {own, name, index});
            kernel.links().setUp({own, index}, true);
        }
    }

    void advance(Zin::Seconds seconds) {
        Zin::Seconds const end = kernel.now() + seconds;
        for (int turn = 0; turn < 100'000; ++turn) {
            while (kernel.deliver()) {
            }
            agent.run(kernel.now());
            Zin::Seconds const next = std::min(kernel.nextEvent(), agent.nextExpiry());
            if (next > end) {
                kernel.advanceTo(end);
                agent.run(end);
                return;
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
        FAIL() << "it never rests";
    }
    void add(std::uint32_t ifIndex, std::string const& addr) {
        ASSERT_EQ(kernel.links().addAddress(
                      {own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr), .flags = IFA_F_NODAD}),
                  0);
    }
    void remove(std::uint32_t ifIndex, std::string const& addr) {
        ASSERT_EQ(
            kernel.links().removeAddress({own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
            0);
    }
    // Many operations, which leave as many addresses.
    void addMany(std::uint32_t ifIndex, int subnet) {
        for (int host = 0; host < 200; ++host) {
            add(ifIndex, fmt::format("10.1.{}.{}/32", subnet, host));
        }
        advance(1.0);
    }
    void removeMany(std::uint32_t ifIndex, int subnet) {
        for (int host = 0; host < 200; ++host) {
            remove(ifIndex, fmt::format("10.1.{}.{}/32", subnet, host));
        }
        advance(1.0);
    }

    std::unique_ptr<Recording> started(std::uint64_t limit = std::uint64_t{1} << 30) {
        auto recording = std::make_unique<Recording>(
            agent, Agent::Options().config, file, limit,
            [this](std::string const& line) { notices.push_back(line); });
        agent.batchBeginsIs([made = recording.get()] { made->batchBegins(); });
        return recording;
    }
    // To its end; returns in how many steps.
    int finish(Recording& recording) {
        recording.stop();
        int steps = 0;
        do {
            ++steps;
            recording.step(kernel.now());
        } while (!recording.hasEnded());
        agent.batchBeginsIs([] {});
        return steps;
    }
    // The last line that a replay of the file prints, asked for what is there.
    std::string replayed() const {
        auto const run =
            Scenario::replayedText(contentOf(file) + "{\"op\":\"snapshot\"}\n", {.heal = true});
        EXPECT_EQ(run.error, "");
        EXPECT_EQ(run.printed.size(), 1U);
        return run.printed.empty() ? "" : run.printed.back();
    }
    std::string present() {
        return Scenario::OrderedJson{{"t", agent.clock()->now()},
                                     {"snapshot", Scenario::snapshot(agent.router())}}
            .dump();
    }

    TestFolder folder;
    std::string const file = folder / "recording";
    Netlink::Fake::FakeKernel kernel;
    Netlink::NamespaceId const own = kernel.ownNamespace();
    std::vector<std::string> notices;
    Agent agent{kernel, {}, [](std::string const&) {}, nullptr};
};

TEST_F(RecordingTest, AReplayMakesWhatStoodAndWhatFollowed) {
    add(7, "10.0.0.1/24");
    add(8, "10.0.0.2/24");  // waits
    advance(1.0);
    auto const recording = started();
    add(8, "10.2.0.1/24");
    remove(7, "10.0.0.1/24");
    advance(0.3);
    finish(*recording);

    EXPECT_EQ(replayed(), present());
    EXPECT_EQ(recording->bytes(), contentOf(file).size());
    EXPECT_EQ(recording->whyEnded(), "");
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(RecordingTest, WhatComesWhileMuchIsWrittenFollowsIt) {
    for (int round = 0; round < 8; ++round) {
        addMany(7, 0);
        addMany(7, round % 2 + 1);
        removeMany(7, 0);
        addMany(8, 7);
        removeMany(7, round % 2 + 1);
        removeMany(8, 7);
    }
    addMany(7, 0);
    advance(100.0);
    auto const recording = started();
    recording->step(kernel.now());
    ASSERT_EQ(recording->nextTurn(), -std::numeric_limits<Zin::Seconds>::infinity());
    add(7, "10.0.0.1/24");
    add(8, "10.0.0.2/24");
    advance(1.0);
    recording->comment("a remark");
    recording->step(kernel.now());
    remove(7, "10.1.0.5/32");
    advance(1.0);
    EXPECT_GT(finish(*recording), 3);

    EXPECT_EQ(replayed(), present());
    EXPECT_THAT(contentOf(file), HasSubstr("\n# a remark\n"));
    EXPECT_EQ(recording->bytes(), contentOf(file).size());
}

TEST_F(RecordingTest, WhatFollowsTheStopIsNotInIt) {
    advance(1.0);
    auto const recording = started();
    finish(*recording);
    auto const before = contentOf(file);
    add(7, "10.0.0.1/24");
    advance(1.0);
    recording->step(kernel.now());
    EXPECT_EQ(contentOf(file), before);
    EXPECT_EQ(recording->nextTurn(), Velk::never);
}

TEST_F(RecordingTest, WhatIsLeftIsWrittenWhenItGoes) {
    addMany(7, 0);
    auto recording = started();
    add(8, "10.0.0.1/24");
    advance(1.0);
    recording.reset();
    agent.batchBeginsIs([] {});
    EXPECT_EQ(replayed(), present());
}

TEST_F(RecordingTest, ItsLimitEndsItAlsoWhileItIsBehind) {
    addMany(7, 0);
    auto const recording = started(4096);
    add(8, "10.0.0.1/24");
    advance(1.0);
    recording->step(kernel.now());
    EXPECT_TRUE(recording->hasEnded());
    EXPECT_THAT(recording->whyEnded(), HasSubstr("its limit of 4096 bytes is reached"));
    EXPECT_EQ(recording->bytes(), contentOf(file).size());
    EXPECT_LE(recording->bytes(), 4096U);
    EXPECT_EQ(recording->nextTurn(), Velk::never);
}

TEST_F(RecordingTest, AFileThatCannotBeWrittenIsToldOnce) {
    Recording recording(agent, {}, "/dev/full", 1 << 20,
                        [this](std::string const& line) { notices.push_back(line); });
    for (int step = 0; step < 20; ++step) {
        recording.step(step);
    }
    EXPECT_TRUE(recording.hasEnded());
    EXPECT_THAT(notices, testing::ElementsAre(HasSubstr("/dev/full: it cannot be written")));
}

TEST_F(RecordingTest, AFileThatCannotBeMadeIsNamed) {
    try {
        Recording const recording(agent, {}, folder / "no/such", 1 << 20, {});
        ADD_FAILURE();
    } catch (RecordingError const& error) {
        EXPECT_THAT(error.what(), HasSubstr("no/such: cannot be opened: No such file"));
    }
}

}  // namespace
}  // namespace IntfAddr
