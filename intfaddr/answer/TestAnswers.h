// For tests: an agent on a fake kernel, who is asked.
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

namespace IntfAddr {

struct AnswersTest : testing::Test {
    AnswersTest() {
        answers.addTo(routes);
        kernel.settings(own).linkLocal = false;
        add(own, 7, "eth0");
        add(own, 8, "eth1");
    }

    void add(Netlink::NamespaceId network, std::uint32_t ifIndex, char const* name) {
        kernel.links().add(Netlink::Fake::LinkKind::dummy, {network, name, ifIndex});
        kernel.links().setUp({network, ifIndex}, true);
    }
    void addAddress(std::uint32_t ifIndex, char const* addr, std::uint32_t flags = IFA_F_NODAD) {
        ASSERT_EQ(kernel.links().addAddress({own, ifIndex},
                                            {.own = Nimb::IpGenAddrWithMask(addr), .flags = flags}),
                  0);
    }
    void removeAddress(std::uint32_t ifIndex, char const* addr) {
        ASSERT_EQ(
            kernel.links().removeAddress({own, ifIndex}, {.own = Nimb::IpGenAddrWithMask(addr)}),
            0);
    }
    // An invariant of the VRF's machine: without a device eth9 withdraws what eth0 has.
    void failOnce() {
        agent.apply({Routing::IpIntfAdd{
                         "default", "eth9", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}},
                     Routing::IpPrimaryIs{"default", "eth9", {}}});
    }
    void runTo(Zin::Seconds time) {
        for (int turn = 0; turn < 100'000; ++turn) {
            while (kernel.deliver()) {
            }
            agent.run(kernel.now());
            Zin::Seconds const next = std::min(kernel.nextEvent(), agent.nextExpiry());
            if (next > time) {
                kernel.advanceTo(time);
                return;
            }
            kernel.advanceTo(std::max(next, kernel.now()));
        }
        FAIL() << "it never rests";
    }

    Reply reply(std::string const& path, Parameters const& query = {}, char const* method = "GET",
                std::optional<std::string> lastEventId = std::nullopt) const {
        return routes.reply({.method = method,
                             .target = targetOf(path, query),
                             .lastEventId = std::move(lastEventId),
                             .body = {},
                             .peer = {}});
    }
    Json ask(std::string const& path, Parameters const& query = {}) const {
        Reply const one = reply(path, query);
        EXPECT_EQ(one.status, 200U);
        return Json::parse(drained(*one.body));
    }
    // "VRF ADDRESS/LENGTH INTERFACE PLACE STATE", and whom it waits for or why it is left out;
    // sorted.
    std::vector<std::string> addresses(Parameters const& query = {}) const {
        std::vector<std::string> texts;
        Json const answer = ask("addresses", query);
        for (auto const& one : answer["addresses"]) {
            texts.push_back(
                fmt::format("{} {}/{} {} {} {}{}", one["vrf"].get<std::string>(),
                            one["address"].get<std::string>(), one["prefixLength"].get<int>(),
                            one["interface"].is_null() ? "-" : one["interface"].get<std::string>(),
                            one["place"].get<std::string>(), one["state"].get<std::string>(),
                            one.contains("waitsFor") ? " " + toLine(one["waitsFor"])
                            : one.contains("why")    ? " " + one["why"].get<std::string>()
                                                     : ""));
        }
        std::ranges::sort(texts);
        return texts;
    }

    static constexpr std::size_t heldChanges = 50;

    Netlink::Fake::FakeKernel kernel;
    Netlink::NamespaceId const own = kernel.ownNamespace();
    Agent agent{kernel, {}, [](std::string const&) {}, nullptr};
    ChangeLog changes{agent.router(), agent.supervisor().follower(), heldChanges};
    Rights rights;
    Recordings recordings{agent,
                          {.replayed = Agent::Options().config, .limit = 1 << 20},
                          rights,
                          [](std::string const&) {}};
    Answers const answers{
        agent.router(), agent.feed(), "agent", std::nullopt,
        AnsweringAgent{
            .identity = "me",
            .changes = changes,
            .operations = agent.router().inputs().effects(),
            .supervisor = agent.supervisor(),
            .recordings = recordings,
            .version = "1.2",
            .times = [] { return AnsweringAgent::Times{.up = 9.5, .longestStall = 0.25}; }}};
    Routes routes;
};

}  // namespace IntfAddr
