// Replays with `heal`: what fails is contained, what is wrong is repaired, and the run goes on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <sstream>
#include <utility>

#include "feeds/scenario/OperationWriter.h"
#include "feeds/scenario/Operations.h"
#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

Replayed healed(Lines const& lines, bool events = false) {
    return replayed(lines, {.events = events, .heal = true});
}

// Time, kind, and what was wrong; of an event its collection, key and presence.
Lines brief(Lines const& lines) {
    Lines texts;
    for (auto const& line : lines) {
        Json const object = Json::parse(line);
        std::string const time = std::regex_replace(object.at("t").dump(), std::regex("\\.0$"), "");
        for (auto const& [kind, content] : object.items()) {
            if (kind == "healed") {
                texts.push_back(time + " healed " + content.at("vrf").get<std::string>() + " +" +
                                std::to_string(content.at("added").size()) + " -" +
                                std::to_string(content.at("removed").size()) + ": " +
                                content.at("why").get<std::string>());
            } else if (kind == "assert") {
                texts.push_back(time + " assert " + content.at("line").dump() + ": " +
                                content.at("message").get<std::string>());
            } else if (kind == "event") {
                texts.push_back(time + (content.at("present").get<bool>() ? " + " : " - ") +
                                content.at("attribute").get<std::string>() + " " +
                                content.at("key").get<std::string>());
            } else if (kind != "t") {
                texts.push_back(time + " " + kind);
            }
        }
    }
    return texts;
}

// The addresses of VRF red and their interfaces, as a snapshot shows them.
Lines owners(std::string const& line, char const* vrf = "red") {
    Lines texts;
    Json const object = Json::parse(line);
    for (auto const& row : object.at("snapshot").at(vrf).at("rows")) {
        texts.push_back(row.at("key").at("addr").get<std::string>() + " " +
                        row.at("intf").get<std::string>());
    }
    return texts;
}

// eth1 publishes eth0's address while its device is gone; withdrawing it fails an invariant.
Lines failure(std::string const& vrf = "red", std::string const& host = "1") {
    std::string const of = R"(,"vrf":")" + vrf + R"(","intf":)";
    return {R"({"op":"ip.intf.add")" + of + R"("eth9","primary":"10.0.0.)" + host + R"(/24"})",
            R"({"op":"ip.primary")" + of + R"("eth9","addr":"0.0.0.0/0"})"};
}

Lines const owner{R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})"};

Lines operator+(Lines first, Lines const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Lines at(double time, Lines lines) {
    Json first = Json::parse(lines.front());
    first["at"] = time;
    lines.front() = first.dump();
    return lines;
}

TEST(Heal, AnOperationThatFailsLeavesItPublishedAndTheRunGoesOn) {
    auto const run = healed(
        prepared(owner + failure() +
                 Lines{R"({"op":"ip.intf.add","vrf":"red","intf":"eth1","primary":"10.1.0.1/24"})",
                       R"({"op":"snapshot"})"}));

    EXPECT_EQ(run.outcome, Outcome::completed);
    EXPECT_THAT(brief({run.printed[0], run.printed[1]}),
                ElementsAre("0 assert 12: ip 10.0.0.1 on eth9 has unexpected conflict on eth0",
                            "0 healed red +0 -0: ip 10.0.0.1 on eth9 has unexpected conflict on "
                            "eth0"));
    EXPECT_THAT(owners(run.printed.back()), ElementsAre("10.0.0.1 eth0", "10.1.0.1 eth1"));
}

TEST(Heal, ATaskThatFailsWhileTheClockMovesEndsThatRunOnly) {
    auto const run = healed(prepared(
        owner +
        Lines{R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24"})",
              R"({"op":"ip.intf.del","vrf":"red","intf":"eth1","at":1})",
              // Its address is tried at 2, before the clean-up takes it.
              R"({"op":"ip.intf.add","vrf":"red","intf":"eth1","primary":"10.2.0.1/24","at":3.5})",
              R"({"op":"snapshot"})"}));

    EXPECT_EQ(run.outcome, Outcome::completed);
    EXPECT_THAT(brief({run.printed[0], run.printed[1]}),
                ElementsAre("2 assert 13: intfId=eth1;addrWithMask=10.0.0.1/24 missing in all "
                            "collection",
                            "2 healed red +0 -0: intfId=eth1;addrWithMask=10.0.0.1/24 missing in "
                            "all collection"));
    EXPECT_THAT(owners(run.printed.back()), ElementsAre("10.0.0.1 eth0", "10.2.0.1 eth1"));
}

TEST(Heal, AFailureWithinAMinuteWaitsLongerEachTime) {
    Lines lines = prepared(owner);
    for (double const time : {0.0, 5.0, 10.0, 20.0, 30.0, 50.0, 70.0, 140.0}) {
        lines = lines + at(time, failure());
    }
    auto const run = healed(lines + Lines{R"({"op":"advance","seconds":1})"});

    Lines times;
    for (auto const& text : brief(run.printed)) {
        times.push_back(text.substr(0, text.find(' ', text.find(' ') + 1)));
    }
    EXPECT_THAT(
        times, ElementsAre("0 assert", "0 healed", "5 assert", "6 healed", "10 assert", "12 healed",
                           "20 assert", "24 healed", "30 assert", "38 healed", "50 assert",
                           "60 healed", "70 assert", "80 healed", "140 assert", "140 healed"));
}

TEST(Heal, WhatIsPublishedWhileARebuildIsOwedComesWithIt) {
    auto const run = healed(
        prepared(owner + failure() + at(10, failure()) +
                 Lines{R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.1.0.1/24"})",
                       R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"0.0.0.0/0"})",
                       R"({"op":"snapshot"})", R"({"op":"snapshot","at":10.75})",
                       R"({"op":"snapshot","at":11})"}));

    ASSERT_EQ(run.printed.size(), 7U);
    EXPECT_THAT(owners(run.printed[3]), ElementsAre("10.0.0.1 eth0"));
    EXPECT_THAT(owners(run.printed[4]), ElementsAre("10.0.0.1 eth0"));
    EXPECT_THAT(brief({run.printed[5]}), ElementsAre(StartsWith("11 healed red +1 -1: ")));
    EXPECT_THAT(owners(run.printed[6]), ElementsAre("10.1.0.1 eth1"));
}

TEST(Heal, ASilencedMachineWithoutACleanUpDelayEmptiesNothing) {
    auto const run = healed(Lines{R"({"op":"config","intfCleanupDelay":0})"} +
                            prepared(owner + failure() + at(10, failure()) +
                                     Lines{R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
                                           R"({"op":"kernel.del","vrf":"red","intf":"eth0"})",
                                           R"({"op":"manager.stop"})", R"({"op":"snapshot"})",
                                           R"({"op":"manager.start"})", R"({"op":"snapshot"})"}));

    ASSERT_EQ(run.printed.size(), 6U);
    EXPECT_THAT(owners(run.printed[3]), ElementsAre("10.0.0.1 eth0"));
    // What is owed is done when the manager starts.
    EXPECT_THAT(brief({run.printed[4]}), ElementsAre(StartsWith("10 healed red +0 -1: ")));
    EXPECT_THAT(owners(run.printed[5]), IsEmpty());
}

TEST(Heal, AManagerThatFailsInStoppingStopsAllTheSame) {
    Lines const lines =
        Lines{R"({"op":"config","intfCleanupDelay":0})"} +
        prepared(Lines{R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24"})",
                       R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                       R"({"op":"manager.stop"})", R"({"op":"advance","seconds":100})",
                       R"({"op":"snapshot"})", R"({"op":"manager.start"})",
                       R"({"op":"snapshot"})"});
    auto const run = healed(lines);

    EXPECT_EQ(run.outcome, Outcome::completed);
    ASSERT_EQ(run.printed.size(), 4U);
    EXPECT_THAT(brief({run.printed[0]}), ElementsAre(StartsWith("0 assert 13: ")));
    EXPECT_THAT(brief({run.printed[2]}), ElementsAre(StartsWith("100 healed red ")));
    EXPECT_THAT(owners(run.printed[3]), Contains(HasSubstr("10.0.0.1")));
}

// The row of an interface that went while no manager ran.
Lines const staleRow =
    owner + Lines{R"({"op":"manager.stop"})", R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
                  R"({"op":"manager.start"})"};

TEST(Heal, WhatStaysWrongIsRepairedAndWhatIsWellIsLeftAlone) {
    auto const run = healed(prepared(staleRow + Lines{R"({"op":"advance","seconds":100})"}));

    EXPECT_THAT(brief(run.printed),
                ElementsAre("5 healed red +0 -1: row that no status justifies: 10.0.0.1/24 on "
                            "eth0"));
    EXPECT_THAT(healed(prepared(owner + Lines{R"({"op":"advance","seconds":100})"})).printed,
                IsEmpty());
}

TEST(Heal, ALeapOfYearsCostsNothing) {
    auto const run = healed(prepared(staleRow + Lines{R"({"op":"advance","seconds":1e12})"}));

    EXPECT_EQ(brief(run.printed).size(), 1U);
}

TEST(Heal, AnAuditComesBehindTheTasksAndBeforeTheOperationOfItsTime) {
    // At 5 the stale row is repaired, and only then withdrawn by its own operation.
    auto const run =
        healed(prepared(staleRow + Lines{R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","at":5})",
                                         R"({"op":"snapshot"})"}));

    EXPECT_THAT(brief(run.printed), ElementsAre(StartsWith("5 healed red +0 -1: "), "5 snapshot"));
}

TEST(Heal, OfSeveralVrfsDefaultIsFirst) {
    Lines lines;
    for (std::string const vrf : {"blue", "default", "amber"}) {
        lines.push_back(R"({"op":"table.add","vrf":")" + vrf + R"("})");
        lines.push_back(R"({"op":"vip.add","addr":"10.0.0.1/24","vrf":")" + vrf + R"("})");
    }
    lines.push_back(R"({"op":"manager.stop"})");
    for (std::string const vrf : {"blue", "default", "amber"}) {
        lines.push_back(R"({"op":"vip.del","addr":"10.0.0.1/24","vrf":")" + vrf + R"("})");
    }
    lines.push_back(R"({"op":"manager.start"})");
    auto const run = healed(lines + Lines{R"({"op":"advance","seconds":10})"});

    EXPECT_THAT(brief(run.printed),
                ElementsAre(StartsWith("5 healed default "), StartsWith("5 healed amber "),
                            StartsWith("5 healed blue ")));
}

TEST(Heal, EventsTellOnlyWhatARepairChanges) {
    auto const run = healed(
        prepared(Lines{R"({"op":"vip.add","vrf":"red","addr":"192.0.2.1/24"})"} + staleRow +
                 Lines{R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24"})",
                       R"({"op":"advance","seconds":10})"}),
        true);

    auto const lines = brief(run.printed);
    std::string const row =
        "intfAddrEntry intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24";
    std::string const key = "intfAddrEntryFromAddr intfId=;addr=10.0.0.1;virtualIp=false";
    std::string const set = "intfAddrEntrySetFromSubnet 10.0.0.0/24";
    // The first ones are not the repair's.
    ASSERT_EQ(lines.size(), 13U);
    EXPECT_THAT(Lines(lines.begin() + 6, lines.end()),
                ElementsAre("5 - " + key, "5 - " + row, "5 - " + set, "5 + " + row, "5 + " + key,
                            "5 + " + set, StartsWith("5 healed red +1 -1: ")));
}

TEST(Heal, ATableThatIsRemovedTellsThatItsMembersAreGone) {
    auto const run = healed(prepared(owner + Lines{R"({"op":"table.del","vrf":"red"})"}), true);

    EXPECT_THAT(Lines(run.printed.begin() + 3, run.printed.end()), testing::SizeIs(3));
    EXPECT_THAT(brief(run.printed).back(), StartsWith("0 - "));
}

TEST(Heal, ATableThatIsReplacedTellsTheDifferences) {
    auto const run = healed(prepared(owner + Lines{R"({"op":"table.add","vrf":"red"})"}), true);

    EXPECT_EQ(run.printed.size(), 3U);
}

TEST(Heal, AnExpectationThatFailsStillEndsTheRun) {
    auto const run = healed(prepared(
        owner + failure() + Lines{R"({"op":"expect","rows":{"red":[]}})", R"({"op":"snapshot"})"}));

    EXPECT_EQ(run.outcome, Outcome::expectationFailed);
    EXPECT_THAT(brief(run.printed).back(), StartsWith("0 expect"));
}

TEST(Heal, AnErrorIsPrintedAsEver) {
    auto const run = healed(prepared(
        {R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/64","deprecated":true})",
         R"({"op":"advance","seconds":100})"}));

    EXPECT_THAT(brief(run.printed), ElementsAre("0 error"));
}

TEST(Heal, WhatLedToARepairIsAScenarioThatLeadsThere) {
    Lines const lines = prepared(
        owner + Lines{R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24"})",
                      R"({"op":"ip.intf.del","vrf":"red","intf":"eth1","at":1})"});
    std::ostringstream out;
    Config const config;
    Scenario::Run run(out, config, {.heal = true});
    std::uint64_t number = 0;
    for (auto const& line : lines) {
        Json object = Json::parse(line);
        auto const& operation = operationOf(object.at("op").get<std::string>());
        std::optional<Zin::Seconds> at;
        if (object.contains("at")) {
            at = object.at("at").get<double>();
        }
        object.erase("op");
        object.erase("at");
        Fields const fields(std::move(object), operation.fields);
        run.carryOut(++number, at, [&] { return operation.check(run, fields); });
    }
    run.advanceTo(10.0);
    ASSERT_EQ(run.supervisor()->lastRepairs().size(), 1U);
    auto const& repair = run.supervisor()->lastRepairs().back();

    std::ostringstream scenario;
    writeScenario(scenario, config, repair.recording);
    auto const again = replayedText(scenario.str() + "{\"op\":\"advance\",\"seconds\":10}\n");
    EXPECT_EQ(again.error, "");
    EXPECT_EQ(again.outcome, Outcome::invariantFailed);
    EXPECT_THAT(again.printed.back(), HasSubstr(repair.why));
}

TEST(Heal, WhatIsKeptForAnotherLengthOfALinkLocalAddressStaysWithIt) {
    auto const run = healed(prepared(
        Lines{R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0","addrs":[{"addr":"fe80::1/64"}]})",
              R"({"op":"manager.stop"})",
              R"({"op":"ip6.addr.del","vrf":"red","intf":"eth0","addr":"fe80::1/64"})",
              R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/63"})",
              R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::2/64"})",
              R"({"op":"manager.start"})"} +
        owner + failure() + Lines{R"({"op":"snapshot","at":60})"}));

    EXPECT_THAT(owners(run.printed.back()), ElementsAre("10.0.0.1 eth0", "fe80::1 eth0"));
}

// For as long as a minute, every other second.
Lines often(std::string const& one, std::string const& other) {
    Lines lines;
    for (int time = 2; time < 60; ++time) {
        Json object = Json::parse(time % 2 ? one : other);
        object["at"] = time + 0.5;
        lines.push_back(object.dump());
    }
    return lines;
}

TEST(Heal, NothingThatGoesOnElsewhereKeepsAFaultFromItsRepair) {
    Lines const lost =
        owner +
        Lines{R"({"op":"ip.secondary.add","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
              R"({"op":"ip.secondary.del","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})"};
    Lines const repeated =
        often(R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
              R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})");
    Lines const virtualOne = often(R"({"op":"vip.add","vrf":"red","addr":"10.0.0.1/32"})",
                                   R"({"op":"vip.add","vrf":"red","addr":"10.0.0.1/24"})");
    Lines const widerSubnet =
        often(R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.9.0.1/8"})",
              R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"0.0.0.0/0"})");
    for (auto const& what : {repeated, virtualOne, widerSubnet}) {
        auto const run = healed(prepared(lost + what));
        EXPECT_THAT(brief(run.printed), ElementsAre(StartsWith("5 healed red +1 -0: "))) << what[0];
    }
}

TEST(Heal, AnAddressThatWaitsForAnotherReasonEachTimeIsLeftAlone) {
    // Each second fe80::1 is gone for a quarter of one, around the audit.
    Lines lines{R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/64"})",
                R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::2/64"})"};
    for (int second = 1; second < 20; ++second) {
        for (auto const& [time, line] :
             {std::pair(second - 0.125,
                        R"({"op":"ip6.addr.del","vrf":"red","intf":"eth0","addr":"fe80::1/64"})"),
              std::pair(
                  second + 0.125,
                  R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"fe80::1/64"})")}) {
            Json object = Json::parse(line);
            object["at"] = time;
            lines.push_back(object.dump());
        }
    }
    EXPECT_THAT(healed(prepared(lines)).printed, IsEmpty());
}

}  // namespace
}  // namespace Scenario
