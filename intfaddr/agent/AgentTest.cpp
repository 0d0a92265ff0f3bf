#include "intfaddr/agent/Agent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_addr.h>

#include <algorithm>
#include <sstream>

#include "Zin/Format.h"
#include "feeds/netlink/fake/FakeKernel.h"
#include "feeds/scenario/FollowedEventPrinter.h"
#include "feeds/scenario/Recorder.h"
#include "feeds/scenario/RepairPrinter.h"
#include "feeds/scenario/Replayer.h"
#include "feeds/scenario/Snapshot.h"

namespace IntfAddr {
namespace {

using Netlink::Fake::FakeKernel;
using Netlink::Fake::LinkKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct AgentTest : testing::Test {
    AgentTest() {
        for (auto const& [index, name] : {std::pair(7, "eth0"), std::pair(8, "eth1")}) {
            kernel.links().add(LinkKind::dummy, {own, name, static_cast<std::uint32_t>(index)});
        }
    }

    void start() {
        Agent::Options options;
        options.feed.follower.receiveBuffer = 100'000;
        agent.emplace(
            kernel, options, [this](std::string const& line) { notices.push_back(line); },
            &repairs);
        output.emplace(events, agent->clock());
        repairs.printer.emplace(*output);
        printer.emplace(agent->supervisor().follower(), *output);
    }
    void runTo(Zin::Seconds time) {
        for (int turn = 0; turn < 100'000; ++turn) {
            while (kernel.deliver()) {
            }
            agent->run(kernel.now());
            Zin::Seconds const next = std::min(kernel.nextEvent(), agent->nextExpiry());
            if (next > time) {
                kernel.advanceTo(time);
                return;
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
        FAIL() << "it never rests";
    }
    void add(std::uint32_t ifIndex, char const* addr) {
        ASSERT_EQ(kernel.links().addAddress({own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
                  0);
    }
    void remove(std::uint32_t ifIndex, char const* addr) {
        ASSERT_EQ(
            kernel.links().removeAddress({own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
            0);
    }
    std::vector<std::string> rows() {
        std::vector<std::string> texts;
        for (auto const& row : agent->router().rows("default")) {
            texts.push_back(fmt::format("{} {}", row.addr, row.intfId));
        }
        return texts;
    }
    int eventsTold() {
        auto const text = events.str();
        events.str({});
        return static_cast<int>(std::ranges::count(text, '\n'));
    }

    struct Repairs final : Routing::RepairObserver {
        void handleRepair(Routing::Repair const& repair,
                          std::vector<IpLib::IntfAddrEntryContent> const& added,
                          std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
            printer->handleRepair(repair, added, removed);
        }
        std::optional<Scenario::RepairPrinter> printer;
    };

    FakeKernel kernel;
    Repairs repairs;
    Netlink::NamespaceId const own = kernel.ownNamespace();
    std::vector<std::string> notices;
    std::optional<Agent> agent;
    std::ostringstream events;
    std::optional<Scenario::Output> output;
    std::optional<Scenario::FollowedEventPrinter> printer;
};

TEST_F(AgentTest, AtTheStartTheTablesComeAtOnce) {
    add(7, "10.0.0.1/24");
    add(8, "10.1.0.1/24");
    start();
    EXPECT_EQ(eventsTold(), 0);
    runTo(1.0);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth0", "10.1.0.1 eth1"));
    EXPECT_EQ(eventsTold(), 6);
}

TEST_F(AgentTest, AnAddressThatMovesIsThereAtOnce) {
    add(7, "10.0.0.1/24");
    start();
    runTo(1.0);
    remove(7, "10.0.0.1/24");
    add(8, "10.0.0.1/24");
    runTo(1.1);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth1"));
}

TEST_F(AgentTest, TheAddressesOfAnInterfaceThatIsRenamedAreThereAtOnce) {
    add(7, "10.0.0.1/24");
    start();
    runTo(1.0);
    ASSERT_EQ(kernel.links().rename({own, 7}, "eth7"), 0);
    runTo(1.1);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth7"));
}

TEST_F(AgentTest, ASecondaryThatIsPromotedIsThereAtOnce) {
    kernel.settings(own).promoteSecondaries = true;
    add(7, "10.0.0.1/24");
    add(7, "10.0.0.2/24");
    start();
    runTo(1.0);
    remove(7, "10.0.0.1/24");
    runTo(1.1);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 eth0"));
}

TEST_F(AgentTest, ADumpThatShowsTheSameTellsNobody) {
    add(7, "10.0.0.1/24");
    start();
    runTo(1.0);
    eventsTold();
    kernel.overrun(own);
    add(8, "10.9.0.1/24");
    remove(8, "10.9.0.1/24");
    runTo(2.0);

    EXPECT_EQ(eventsTold(), 0);
    EXPECT_THAT(notices, ElementsAre(HasSubstr("notifications or dumps lost")));
}

TEST_F(AgentTest, WhatWaitsIsAdmittedAtItsTime) {
    add(7, "10.0.0.1/24");
    start();
    runTo(1.0);
    add(8, "10.0.0.2/24");
    runTo(1.1);
    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth0"));
    remove(7, "10.0.0.1/24");
    runTo(4.0);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.2 eth1"));
}

// Throws at the first row that it is told of.
class Thrower final : public Routing::TableFollower::Notifiee {
public:
    explicit Thrower(Zin::Ptr<Routing::TableFollower const> follower, bool fails) : fails_(fails) {
        notifierIs(std::move(follower));
    }

private:
    void handleRow(L3::VrfName const& /*vrf*/, IpLib::IntfAddrEntryContent const& /*row*/,
                   bool /*present*/) override {
        if (!std::exchange(isDone_, true)) {
            if (fails_) {
                Zin::fail({.className = "AgentTest",
                           .condition = "contrived",
                           .function = "handleRow",
                           .message = "a test says so"});
            }
            throw std::runtime_error("a reader's own mistake");
        }
    }

    bool const fails_;
    bool isDone_ = false;
};

TEST_F(AgentTest, TheRestOfABatchIsDoneThoughAReaderThrows) {
    start();
    runTo(1.0);
    Thrower const thrower(agent->supervisor().follower(), false);
    add(7, "10.0.0.1/24");
    add(7, "10.1.0.1/24");
    add(8, "10.2.0.1/24");
    EXPECT_THROW(runTo(1.1), std::runtime_error);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth0", "10.1.0.1 eth0", "10.2.0.1 eth1"));
}

TEST_F(AgentTest, AnInvariantThatFailsInTheMidstOfABatchIsContained) {
    start();
    runTo(1.0);
    Thrower const thrower(agent->supervisor().follower(), true);
    add(7, "10.0.0.1/24");
    add(7, "10.1.0.1/24");
    add(8, "10.2.0.1/24");
    runTo(1.1);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth0", "10.1.0.1 eth0", "10.2.0.1 eth1"));
    EXPECT_THAT(notices, testing::Contains(HasSubstr("a test says so")));
}

TEST_F(AgentTest, WhatIsNotThereForAnOperationIsANotice) {
    kernel.makeNamespace("ns-red");
    start();
    runTo(1.0);
    agent->router().tableDel("red").apply();
    kernel.removeName("ns-red");
    runTo(2.0);

    EXPECT_THAT(notices, ElementsAre(HasSubstr("'red'")));
}

TEST_F(AgentTest, ARowThatSomebodyTakesAwayComesBack) {
    add(7, "10.0.0.1/24");
    start();
    runTo(1.0);
    // Somebody takes a row away, as no machine does.
    auto const table = agent->router().table("default");
    auto const content = table->intfAddrEntry().begin()->key;
    table->intfAddrEntryDel(content);
    remove(7, "10.0.0.1/24");
    add(7, "10.0.0.1/24");
    add(8, "10.0.0.7/24");
    runTo(60.0);

    EXPECT_THAT(rows(), ElementsAre("10.0.0.1 eth0"));
}

// What happens until `time`, recorded; and what a replay of that prints.
template <class Happen>
std::string replayOf(AgentTest& test, Zin::Seconds time, Happen const& happen) {
    std::ostringstream recording;
    {
        Scenario::Recorder recorder(recording, Agent::Options().config, test.agent->clock(),
                                    1'000'000);
        test.agent->router().inputs().effects().observerAdd(recorder);
        test.agent->batchBeginsIs([&recorder] { recorder.batchBegins(); });
        happen();
        test.runTo(time);
        recorder.end();
        test.agent->router().inputs().effects().observerDel(recorder);
    }
    std::istringstream in(recording.str());
    std::ostringstream replayed;
    EXPECT_EQ(Scenario::replay(in, replayed, {.events = true, .heal = true}),
              Scenario::Outcome::completed);
    return replayed.str();
}

TEST_F(AgentTest, ARecordingReplaysToTheSameEvents) {
    add(7, "10.0.0.1/24");
    start();
    auto const replayed = replayOf(*this, 10.0, [this] {
        runTo(1.0);
        add(8, "10.0.0.2/24");
        runTo(2.0);
        remove(7, "10.0.0.1/24");
        add(7, "2001:db8::1/64");
        runTo(2.5);
        ASSERT_EQ(kernel.links().remove({own, 7}), 0);
    });

    EXPECT_EQ(replayed, events.str());
    EXPECT_THAT(replayed, HasSubstr("10.0.0.2"));
}

// It was deprecated when its subnet went to another interface, and stays as it is withdrawn.
TEST_F(AgentTest, ARowThatTheRulesKeepAnAuditTakesAwayInTheAgentAsInAReplay) {
    auto const address = [](char const* addr, double preferred) {
        return Netlink::Fake::Address{
            .own = Nimb::IpGenAddrWithMask(addr), .flags = IFA_F_NODAD, .preferred = preferred};
    };
    auto& links = kernel.links();
    constexpr double forever = Netlink::Fake::forever;
    links.addAddress({own, 7}, address("2001:db8::1/64", forever));
    links.addAddress({own, 7}, address("2001:db8::2/64", 0));
    start();
    auto const replayed = replayOf(*this, 20.0, [&] {
        runTo(1.0);
        links.removeAddress({own, 7}, address("2001:db8::1/64", forever));
        runTo(1.25);
        links.addAddress({own, 8}, address("2001:db8::3/64", forever));
        runTo(1.5);
        links.replaceAddress({own, 7}, address("2001:db8::2/64", forever));
        runTo(1.75);
        links.removeAddress({own, 7}, address("2001:db8::2/64", forever));
        runTo(2.5);
        EXPECT_THAT(rows(), ElementsAre("2001:db8::2 eth0", "2001:db8::3 eth1"));
    });

    EXPECT_EQ(replayed, events.str());
    EXPECT_THAT(replayed, HasSubstr("\"healed\""));
    EXPECT_THAT(rows(), ElementsAre("2001:db8::3 eth1"));
}

}  // namespace
}  // namespace IntfAddr
