// What an agent that has a recorder can say of an address.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "feeds/netlink/fake/FakeKernel.h"
#include "intfaddr/agent/Agent.h"
#include "intfaddr/history/HistoryRecorder.h"

namespace IntfAddr {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

struct AgentHistory : testing::Test {
    AgentHistory() {
        kernel.links().add(Netlink::Fake::LinkKind::dummy, {own, "eth0", 7});
        add("10.0.0.1/24");
        Agent::Options options;
        options.feed.follower.receiveBuffer = 100'000;
        options.feed.told = [this](auto const& vrf, auto const& intf, auto const& change,
                                   Zin::Seconds now) {
            recorder->handleKernel(vrf, intf, change, now);
        };
        agent.emplace(
            kernel, options, [](std::string const&) {}, nullptr);
        recorder.emplace(agent->router(), agent->supervisor().follower(),
                         AddressHistory::Options());
    }
    void runTo(Zin::Seconds time) {
        while (kernel.now() < time) {
            while (kernel.deliver()) {
            }
            agent->run(kernel.now());
            if (!hasBegun && agent->feed().isStarted()) {
                hasBegun = true;
                recorder->begin();
            }
            recorder->catchUp();
            Zin::Seconds const next = std::min(kernel.nextEvent(), agent->nextExpiry());
            kernel.advanceTo(std::min(time, std::max(next, kernel.now())));
        }
    }
    void add(char const* addr) {
        kernel.links().addAddress({own, 7}, {.own = Nimb::IpGenAddrWithMask(addr)});
    }
    std::vector<std::string> of(char const* addr) {
        std::vector<std::string> texts;
        for (auto const& event : recorder->history().of("default", Nimb::IpGenAddr(addr)).events) {
            texts.push_back(textOf(event));
        }
        return texts;
    }

    Netlink::Fake::FakeKernel kernel;
    Netlink::NamespaceId const own = kernel.ownNamespace();
    std::optional<Agent> agent;
    std::optional<HistoryRecorder> recorder;
    bool hasBegun = false;
};

TEST_F(AgentHistory, GoesFromTheKernelToTheTable) {
    runTo(1.0);
    EXPECT_THAT(of("10.0.0.1"), IsEmpty()) << "it was there in the beginning";
    EXPECT_EQ(recorder->since().size(), 1U);

    add("10.0.0.2/24");
    runTo(2.0);
    kernel.links().removeAddress({own, 7}, {.own = Nimb::IpGenAddrWithMask("10.0.0.2/24")});
    runTo(3.0);
    EXPECT_THAT(of("10.0.0.2"),
                ElementsAre("was told by the kernel as secondary on eth0",
                            "was published as secondary on eth0", "came into the table on eth0",
                            "was told to be gone by the kernel as secondary on eth0",
                            "was withdrawn as secondary on eth0", "left the table on eth0"));

    kernel.links().remove({own, 7});
    runTo(4.0);
    EXPECT_THAT(of("10.0.0.1"), Contains("device went on eth0"));
}

}  // namespace
}  // namespace IntfAddr
