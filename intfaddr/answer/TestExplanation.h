// For tests: an agent with a history on a fake kernel, who is asked why an address is there, or
// not.
#pragma once

#include <gtest/gtest.h>
#include <linux/if_addr.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Zin/Format.h"
#include "feeds/netlink/fake/FakeKernel.h"
#include "intfaddr/agent/Agent.h"
#include "intfaddr/answer/Answers.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/answer/Routes.h"

namespace IntfAddr {

using Texts = std::vector<std::string>;

// eth0 and eth1; the first look at the kernel is at 0.
struct ExplanationTest : testing::Test {
    ExplanationTest() {
        kernel.settings(own).linkLocal = false;
        add(own, 7, "eth0");
        add(own, 8, "eth1");
    }

    void start(Netlink::Policy const& policy = {}) {
        Agent::Options options;
        options.feed.policy = policy;
        options.feed.told = [this](auto const& vrf, auto const& intf, auto const& change,
                                   Zin::Seconds now) {
            recorder->handleKernel(vrf, intf, change, now);
        };
        agent.emplace(
            kernel, options, [](std::string const&) {}, &repairs);
        recorder.emplace(agent->router(), agent->supervisor().follower(),
                         AddressHistory::Options());
        repairs.recorder = &*recorder;
        runTo(1.0);
    }
    void runTo(Zin::Seconds time) {
        for (;;) {
            while (kernel.deliver()) {
            }
            agent->run(kernel.now());
            if (agent->feed().isStarted() && !std::exchange(hasBegun, true)) {
                recorder->begin();
            }
            recorder->catchUp();
            Zin::Seconds const next = std::min(kernel.nextEvent(), agent->nextExpiry());
            if (next > time) {
                return kernel.advanceTo(time);
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
    }
    void add(Netlink::NamespaceId network, std::uint32_t ifIndex, char const* name) {
        kernel.links().add(Netlink::Fake::LinkKind::dummy, {network, name, ifIndex});
        kernel.links().setUp({network, ifIndex}, true);
    }
    void put(std::uint32_t ifIndex, Netlink::Fake::Address const& address) {
        ASSERT_EQ(kernel.links().addAddress({own, ifIndex}, address), 0);
    }
    void addAddress(std::uint32_t ifIndex, char const* addr, std::uint32_t flags = 0) {
        put(ifIndex, {.own = Nimb::IpGenAddrWithMask(addr), .flags = flags});
    }
    void addSettled(std::uint32_t ifIndex, char const* addr) {
        addAddress(ifIndex, addr, IFA_F_NODAD);
    }
    void removeAddress(std::uint32_t ifIndex, char const* addr) {
        ASSERT_EQ(
            kernel.links().removeAddress({own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
            0);
    }
    Routing::Inputs& inputs() { return agent->router().inputs(); }

    Json ask(std::string const& addr, Parameters query = {}, bool remembers = true) {
        query.emplace_back("address", addr);
        auto const memory = remembers
                                ? std::optional(Memory{.recorder = *recorder,
                                                       .now = [this] { return kernel.now(); }})
                                : std::nullopt;
        Answers const answers(agent->router(), agent->feed(), "agent", memory);
        Routes routes;
        answers.addTo(routes);
        Reply const reply = routes.reply({.method = "GET",
                                          .target = {.segments = {"v1", "explain"}, .query = query},
                                          .lastEventId = {},
                                          .body = {},
                                          .peer = {}});
        EXPECT_EQ(reply.status, 200U);
        return Json::parse(drained(*reply.body));
    }
    // "verdict: sentence", and behind that its reasons.
    Texts explain(std::string const& addr, Parameters const& query = {}, bool remembers = true) {
        Texts texts;
        Json const answer = ask(addr, query, remembers);
        for (auto const& one : answer["explanations"]) {
            texts.push_back(fmt::format("{}: {}", one["verdict"].get<std::string>(),
                                        one["sentence"].get<std::string>()));
            for (auto const& reason : one["reasons"]) {
                texts.push_back(reason.get<std::string>());
            }
        }
        return texts;
    }
    Json first(std::string const& addr, Parameters const& query = {}) {
        return ask(addr, query)["explanations"].at(0);
    }

    struct Repairs : Routing::RepairObserver {
        void handleRepair(Routing::Repair const& repair,
                          std::vector<IpLib::IntfAddrEntryContent> const& added,
                          std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
            recorder->handleRepair(repair, added, removed);
        }
        HistoryRecorder* recorder = nullptr;
    };

    Netlink::Fake::FakeKernel kernel;
    Netlink::NamespaceId const own = kernel.ownNamespace();
    Repairs repairs;
    std::optional<Agent> agent;
    std::optional<HistoryRecorder> recorder;
    bool hasBegun = false;
};

}  // namespace IntfAddr
