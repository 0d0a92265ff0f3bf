#include "intfaddr/answer/Answers.h"

#include <gmock/gmock.h>
#include <linux/if_addr.h>

#include "Zin/Format.h"
#include "intfaddr/answer/TestAnswers.h"

namespace IntfAddr {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

Parameters on(char const* intf) { return {{"interface", intf}}; }

TEST_F(AnswersTest, AnAddressIsInTheTableOrWaitsForWhoeverKeepsItOut) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    addAddress(8, "10.0.0.1/16");
    addAddress(8, "2001:db8::1/64");
    runTo(1.0);

    EXPECT_THAT(addresses(on("eth0")), ElementsAre("default 10.0.0.1/24 eth0 table PREFERRED"));
    EXPECT_THAT(addresses(on("eth1")), ElementsAre("default 10.0.0.1/16 eth1 waiting PREFERRED "
                                                   R"({"address":"10.0.0.1","interface":"eth0"})",
                                                   "default 10.0.0.2/24 eth1 waiting PREFERRED "
                                                   R"({"subnet":"10.0.0.0/24","interface":"eth0"})",
                                                   "default 2001:db8::1/64 eth1 table PREFERRED"));
}

TEST_F(AnswersTest, ItsStateIsThatOfTheNetworkModels) {
    addAddress(7, "10.0.0.1/24");
    addAddress(7, "2001:db8::1/64");
    kernel.links().addAddress(
        {own, 7},
        {.own = Nimb::IpGenAddrWithMask("2001:db8::2/64"), .flags = IFA_F_NODAD, .preferred = 0});
    addAddress(8, "10.1.0.1/24");
    runTo(1.0);
    kernel.links().setUp({own, 8}, false);
    runTo(2.0);
    kernel.links().addVeth({own, "eth2", 9}, {own, "eth3", 10});
    addAddress(9, "2001:db8:1::1/64", 0);
    runTo(3.0);

    EXPECT_THAT(addresses(), testing::IsSupersetOf(
                                 {"default 10.0.0.1/24 eth0 table PREFERRED",
                                  "default 2001:db8::1/64 eth0 table PREFERRED",
                                  "default 2001:db8::2/64 eth0 table DEPRECATED",
                                  "default 10.1.0.1/24 eth1 table INACCESSIBLE",
                                  "default 2001:db8:1::1/64 eth2 left-out TENTATIVE tentative"}));
}

// Its row stays for a while after the interface has gone.
TEST_F(AnswersTest, ARowThatNobodyPublishesAnyMoreIsInvalid) {
    runTo(1.0);
    auto& inputs = agent.router().inputs();
    inputs.kernelAdd("default", "lost0", {.deviceName = "lost0", .ifIndex = 77}).apply();
    inputs.ipIntfAdd("default", "lost0", {.primary = Nimb::IpAddrWithMask("10.9.0.1/24")}).apply();
    EXPECT_THAT(addresses(on("lost0")), ElementsAre("default 10.9.0.1/24 lost0 table PREFERRED"));
    inputs.ipIntfDel("default", "lost0").apply();

    EXPECT_THAT(addresses(on("lost0")), ElementsAre("default 10.9.0.1/24 lost0 table INVALID"));
    inputs.ipIntfAdd("default", "lost1", {.primary = Nimb::IpAddrWithMask("10.8.0.1/24")}).apply();
    EXPECT_THAT(addresses(on("lost1")),
                ElementsAre("default 10.8.0.1/24 lost1 no-device PREFERRED"));
}

TEST_F(AnswersTest, AVirtualAddressIsOnNoInterface) {
    runTo(1.0);
    agent.router().inputs().vipAdd("default", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();

    EXPECT_THAT(addresses(), Contains("default 10.0.0.9/32 - table PREFERRED"));
    EXPECT_THAT(addresses(on("eth0")), Not(Contains(HasSubstr("10.0.0.9"))));
    auto const owners = ask("lookup", {{"address", "10.0.0.9"}})["owners"];
    ASSERT_EQ(owners.size(), 1U);
    EXPECT_EQ(owners[0]["virtual"], true);
    EXPECT_EQ(owners[0]["interface"], nullptr);
}

TEST_F(AnswersTest, WhatIsAskedForIsGivenAndNothingElse) {
    addAddress(7, "10.0.0.1/24");
    addAddress(7, "10.0.0.2/24");
    addAddress(8, "10.1.0.1/24");
    addAddress(8, "2001:db8::1/64");
    auto const red = kernel.makeNamespace("ns-red");
    kernel.settings(red).linkLocal = false;
    add(red, 7, "eth0");
    runTo(1.0);
    auto const count = [this](Parameters const& query) { return addresses(query).size(); };

    EXPECT_EQ(count({{"address", "10.0.0.2"}}), 1U);
    EXPECT_EQ(count({{"address", "10.0.0.3"}}), 0U);
    EXPECT_EQ(count({{"prefix", "10.0.0.0/24"}}), 2U);
    EXPECT_EQ(count({{"prefix", "10.0.0.0/15"}}), 3U);
    EXPECT_EQ(count({{"interface", "eth1"}, {"family", "4"}}), 1U);
    EXPECT_EQ(count({{"interface", "eth1"}, {"family", "6"}}), 1U);
    EXPECT_EQ(count({{"interface", "eth0"}, {"vrf", "red"}}), 0U);
    EXPECT_THAT(addresses({{"vrf", "red"}}), testing::Each(testing::StartsWith("red ")));
    runTo(2.0);
    kernel.links().setUp({own, 8}, false);
    runTo(3.0);
    EXPECT_THAT(addresses({{"state", "INACCESSIBLE"}, {"family", "4"}}),
                ElementsAre("default 10.1.0.1/24 eth1 table INACCESSIBLE"));
    EXPECT_EQ(count({{"state", "preferred"}, {"family", "4"}, {"vrf", "default"}}), 2U);
}

TEST_F(AnswersTest, VrfsAreListedWithHowMuchIsInThem) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    kernel.makeNamespace("ns-red");
    runTo(1.0);
    EXPECT_EQ(ask("vrfs")["vrfs"],
              Json::array({{{"vrf", "default"},
                            {"rows", agent.router().rows(L3::VrfName("default")).size()},
                            {"waiting", 1}},
                           {{"vrf", "red"},
                            {"rows", agent.router().rows(L3::VrfName("red")).size()},
                            {"waiting", 0}}}));
}

TEST_F(AnswersTest, ItsHealthIsWhetherItsAnswersCanBeReliedOn) {
    auto const health = [this] {
        Reply const one = routes.reply({.method = "GET",
                                        .target = {.segments = {"healthz"}, .query = {}},
                                        .lastEventId = {},
                                        .body = {},
                                        .peer = {}});
        Json const answer = Json::parse(drained(*one.body));
        return fmt::format("{} {} {}", one.status, answer["state"].get<std::string>(),
                           answer["notKnown"].size());
    };
    EXPECT_EQ(health(), "503 starting 2");
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    EXPECT_EQ(health(), "200 ok 0");
    kernel.faults().next(Netlink::Fake::Fault::interruptDump, 0, 2);
    kernel.overrun(own);
    kernel.links().setUp({own, 8}, false);
    runTo(1.002);
    EXPECT_EQ(health(), "503 stale 1");
    runTo(3.0);
    EXPECT_EQ(health(), "200 ok 0");
    for (int i = 0; i < 2; ++i) {
        failOnce();
    }
    EXPECT_EQ(health(), "503 degraded 1");
}

TEST_F(AnswersTest, ALinkLocalAddressHasAnOwnerOnEachInterface) {
    addAddress(7, "fe80::1/64");
    addAddress(8, "fe80::1/64");
    runTo(1.0);

    EXPECT_EQ(ask("lookup", {{"address", "fe80::1"}})["owners"].size(), 2U);
    EXPECT_EQ(ask("lookup", {{"address", "fe80::1"}, {"interface", "eth0"}})["owners"].size(), 1U);
    EXPECT_EQ(addresses({{"address", "fe80::1"}, {"interface", "eth1"}}).size(), 1U);
    EXPECT_EQ(ask("linklocal", on("eth1"))["addresses"][0]["address"], "fe80::1");
    EXPECT_THAT(ask("linklocal", on("lo"))["addresses"], IsEmpty());
}

TEST_F(AnswersTest, WhatNobodyOwnsIsInTheLongestConnectedSubnet) {
    addAddress(7, "10.0.0.1/8");
    addAddress(8, "10.1.0.1/16");
    runTo(1.0);
    auto const found = ask("lookup", {{"address", "10.1.2.3"}});

    EXPECT_THAT(found["owners"], IsEmpty());
    EXPECT_EQ(
        found["connected"],
        Json::array({{{"vrf", "default"}, {"subnet", "10.1.0.0/16"}, {"interface", "eth1"}}}));
    auto const owned = ask("lookup", {{"address", "10.1.0.1"}});
    EXPECT_EQ(owned["owners"][0]["interface"], "eth1");
    EXPECT_THAT(owned["connected"], IsEmpty());
}

TEST_F(AnswersTest, ASubnetHasItsOwnerAndItsRowsTheDeprecatedOnesApart) {
    addAddress(7, "2001:db8::1/64");
    kernel.links().addAddress(
        {own, 7},
        {.own = Nimb::IpGenAddrWithMask("2001:db8::2/64"), .flags = IFA_F_NODAD, .preferred = 0});
    addAddress(8, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    runTo(1.0);
    auto const subnets = ask("subnets", {{"vrf", "default"}})["subnets"];

    EXPECT_THAT(subnets, Contains(Json{{"vrf", "default"},
                                       {"subnet", "2001:db8::/64"},
                                       {"interface", "eth0"},
                                       {"addresses", {"2001:db8::1"}},
                                       {"deprecated", {"2001:db8::2"}}}));
    EXPECT_THAT(subnets, Contains(Json{{"vrf", "default"},
                                       {"subnet", "10.0.0.0/24"},
                                       {"interface", "eth1"},
                                       {"addresses", {"10.0.0.1", "10.0.0.2"}},
                                       {"deprecated", Json::array()}}));
}

TEST_F(AnswersTest, TheLowestIp6AddressOfAnInterface) {
    addAddress(7, "2001:db8::2/64");
    addAddress(7, "2001:db8::1/64");
    addAddress(7, "fe80::1/64");
    runTo(1.0);

    EXPECT_EQ(ask("lowest6", on("eth0"))["addresses"][0]["address"], "2001:db8::1");
    EXPECT_THAT(ask("lowest6", on("eth1"))["addresses"], IsEmpty());
}

TEST_F(AnswersTest, WhatCouldHoldTheAnswerAndCannotBeReadIsNamed) {
    EXPECT_EQ(ask("lookup", {{"address", "10.0.0.1"}})["notKnown"][1]["what"], "the agent");
    runTo(1.0);
    EXPECT_THAT(ask("lookup", {{"address", "10.0.0.1"}})["notKnown"], IsEmpty());
    kernel.makeNamespace("ns-red");
    kernel.faults().next(Netlink::Fake::Fault::failOpening, EPERM, 1000);
    runTo(2.0);

    auto const all = ask("lookup", {{"address", "10.0.0.1"}})["notKnown"];
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0]["what"], "VRF 'red'");
    EXPECT_THAT(all[0]["why"].get<std::string>(), HasSubstr("not permitted"));
    for (char const* const vrf : {"red", "red/blue"}) {
        EXPECT_EQ(ask("addresses", {{"vrf", vrf}})["notKnown"].size(), 1U) << vrf;
    }
    EXPECT_THAT(ask("addresses", {{"vrf", "default"}})["notKnown"], IsEmpty());
    // Nobody knows what namespaces there are.
    kernel.faults().next(Netlink::Fake::Fault::failListing, EACCES, 1000);
    kernel.makeNamespace("ns-blue");
    runTo(3.0);
    EXPECT_EQ(ask("addresses", {{"vrf", "blue"}})["notKnown"][1]["what"],
              "what has changed of namespaces");
    // Under another name, all of it is known.
    kernel.faults().end();
    kernel.nameNamespace("ns-own", own);
    runTo(9.0);
    EXPECT_THAT(ask("addresses")["notKnown"], IsEmpty());
}

TEST_F(AnswersTest, WhatIsNotReadWholeYetIsNotKnown) {
    runTo(1.0);
    kernel.makeNamespace("ns-red");
    kernel.faults().next(Netlink::Fake::Fault::interruptDump, 0, 1);
    kernel.deliver();
    agent.run(1.0);

    auto const answer = ask("lookup", {{"address", "10.0.0.1"}, {"vrf", "red"}});
    ASSERT_EQ(answer["notKnown"].size(), 1U);
    EXPECT_EQ(answer["notKnown"][0]["what"], "VRF 'red'");
}

TEST_F(AnswersTest, TheAgentSaysHowItFares) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    runTo(1.0);
    Json const before = ask("status");
    EXPECT_EQ(before["namespaces"],
              Json::array({{{"vrf", "default"}, {"losses", 0}, {"dumps", 1}}}));
    kernel.overrun(own);
    runTo(9.0);
    Reply const watch = reply("watch");
    Json const status = ask("status");

    EXPECT_EQ(status["version"], "1.2");
    EXPECT_EQ(status["agent"], "me");
    EXPECT_EQ(status["process"], ::getpid());
    EXPECT_EQ(status["uptime"], 9.5);
    EXPECT_EQ(status["longestStall"], 0.25);
    EXPECT_GT(status["memory"], 1 << 20);
    EXPECT_EQ(status["watchers"], 1);
    EXPECT_EQ(before["watchers"], 0);
    EXPECT_EQ(status["vrfs"][0]["rows"], agent.router().rows(L3::VrfName("default")).size());
    EXPECT_EQ(status["vrfs"][0]["waiting"], 1);
    EXPECT_EQ(status["namespaces"],
              Json::array({{{"vrf", "default"}, {"losses", 1}, {"dumps", 2}}}));
    EXPECT_THAT(status["rebuilds"], IsEmpty());
    EXPECT_THAT(status["notKnown"], IsEmpty());
}

// The second failure in a minute waits for its rebuild.
TEST_F(AnswersTest, AVrfThatIsToBeRebuiltIsNotKnown) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    failOnce();
    EXPECT_THAT(ask("addresses")["notKnown"], IsEmpty());
    failOnce();
    auto const unknown = ask("lookup", {{"address", "10.0.0.2"}})["notKnown"];
    ASSERT_EQ(unknown.size(), 1U);
    EXPECT_EQ(unknown[0]["what"], "VRF 'default'");
    EXPECT_THAT(unknown[0]["why"].get<std::string>(), HasSubstr("an invariant failed"));
    EXPECT_EQ(ask("status")["notKnown"], unknown);
    runTo(5.0);
    EXPECT_THAT(ask("addresses")["notKnown"], IsEmpty());
}

// A link-local address may stand on any number of interfaces.
TEST_F(AnswersTest, ManyOwnersAreToldOneByOne) {
    constexpr int count = 50;
    for (std::uint32_t i = 0; i < count; ++i) {
        add(own, 100 + i, fmt::format("d{}", i).c_str());
        addAddress(100 + i, "fe80::1/64");
    }
    runTo(1.0);
    Reply const one = reply("lookup", {{"address", "fe80::1"}});
    std::string text;
    int pieces = 1;
    while (one.body->next(text) == Body::Progress::more) {
        ++pieces;
    }
    EXPECT_EQ(Json::parse(text)["owners"].size(), count);
    EXPECT_GT(pieces, count);
}

TEST_F(AnswersTest, ABadQuestionIsRefusedInWords) {
    runTo(1.0);
    auto const refusal = [this](std::string const& path, Parameters const& query,
                                char const* method = "GET") {
        Reply const one = reply(path, query, method);
        return fmt::format("{} {}", one.status,
                           Json::parse(drained(*one.body))["error"].get<std::string>());
    };

    EXPECT_THAT(refusal("addresses", {{"address", "10.0.0.256"}}),
                HasSubstr("400 '10.0.0.256' is not an address"));
    EXPECT_THAT(refusal("addresses", {{"prefix", "10.0.0.1/24"}}),
                HasSubstr("400 '10.0.0.1/24' is not a prefix"));
    EXPECT_EQ(refusal("addresses", {{"family", "5"}}), "400 '5' is no family: 4 or 6 is expected");
    EXPECT_EQ(refusal("addresses", {{"vrf", ""}}), "400 the vrf is empty");
    EXPECT_EQ(refusal("addresses", {{"family", "4"}, {"family", "4"}}),
              "400 'family' is given twice");
    EXPECT_EQ(refusal("addresses", {{"state", "INVISIBLE"}}),
              "400 'INVISIBLE' is no state: PREFERRED or DEPRECATED or INVALID or INACCESSIBLE or "
              "TENTATIVE or DUPLICATE is expected");
    EXPECT_EQ(refusal("lookup", {}), "400 'address' is missing");
    EXPECT_EQ(refusal("status", {{"vrf", "a"}}), "400 'vrf' is unknown: nothing is expected");
    EXPECT_EQ(refusal("lookup", {{"address", "::1"}, {"family", "6"}}),
              "400 'family' is unknown: address or interface or vrf is expected");
    EXPECT_EQ(refusal("explain", {}), "400 'address' is missing");
    EXPECT_EQ(refusal("explain", {{"address", "::1"}, {"family", "6"}}),
              "400 'family' is unknown: address or interface or vrf is expected");
    EXPECT_EQ(refusal("addresses", {{"vrf", "none"}}), "404 there is no VRF 'none'");
    EXPECT_EQ(refusal("nothing", {}), "404 there is nothing at /v1/nothing");
    EXPECT_EQ(refusal("addresses", {}, "POST"), "405 POST is not possible: GET is");
}

// Else an answer about a router that flaps would never end.
TEST_F(AnswersTest, AListEndsThoughRowsComeAsFastAsTheyAreToldOf) {
    addAddress(7, "10.0.0.1/32");
    addAddress(7, "10.0.1.1/32");
    runTo(1.0);
    for (char const* const path : {"addresses", "subnets"}) {
        Reply const one = reply(path);
        std::string text;
        int steps = 0;
        for (bool more = true; more && steps < 1000; ++steps) {
            more = one.body->next(text) == Body::Progress::more;
            char const* const flaps = steps % 2 == 0 ? "10.0.0.1/32" : "10.0.1.1/32";
            removeAddress(7, flaps);
            addAddress(7, flaps);
            runTo(kernel.now() + 0.1);
        }
        EXPECT_LT(steps, 100) << path;
        for (char const* const addr : {"\"10.0.0.1\"", "\"10.0.1.1\""}) {
            auto const first = text.find(addr);
            EXPECT_TRUE(first == text.npos || text.find(addr, first + 1) == text.npos) << text;
        }
    }
}

// Whatever changes meanwhile: no row that stands throughout is missing.
TEST_F(AnswersTest, TheTableMayChangeWhileItIsToldOf) {
    for (int i = 1; i <= 40; ++i) {
        addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
    }
    runTo(1.0);
    Reply const one = reply("addresses", on("eth0"));
    std::string text;
    for (int i = 1; i <= 40; ++i) {
        auto const before = text.size();
        one.body->next(text);
        EXPECT_LT(text.size() - before, 1000U);
        if (i % 2 == 0) {
            removeAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
            addAddress(7, fmt::format("10.1.{}.1/24", i).c_str());
            runTo(1.0 + 0.1 * i);
        }
    }
    text += drained(*one.body);
    std::multiset<std::string> told;
    Json const answer = Json::parse(text);
    for (auto const& address : answer["addresses"]) {
        told.insert(address["address"].get<std::string>());
    }

    for (int i = 1; i <= 40; i += 2) {
        EXPECT_EQ(told.count(fmt::format("10.0.{}.1", i)), 1U) << i;
    }
    EXPECT_EQ(told.size(), std::set<std::string>(told.begin(), told.end()).size());
}

}  // namespace
}  // namespace IntfAddr
