#include "feeds/scenario/Replayer.h"

#include <gmock/gmock.h>

#include <utility>

#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The line of JSON without its beginning that is the same for many: what is in the braces.
std::string line(std::string const& content) { return "{" + content + "}"; }

TEST(Replayer, AnEmptyFileIsAScenario) {
    auto const run = replayedText("");
    EXPECT_EQ(run.outcome, Outcome::completed);
    EXPECT_THAT(run.printed, IsEmpty());
}

TEST(Replayer, CommentsAndBlankLinesAreSkippedAndCounted) {
    auto const run = replayedText(
        "# \xff whatever\n"
        "\n"
        " \t\r\n"
        "{\"op\":\"snapshot\"}\r\n"
        " # no comment\n");
    EXPECT_THAT(run.printed, ElementsAre(R"({"t":0.0,"snapshot":{}})"));
    EXPECT_EQ(run.errorLine, 5U);
    EXPECT_THAT(run.error, HasSubstr("not a JSON text"));
}

TEST(Replayer, ConfigurationComesFirstOrNotAtAll) {
    EXPECT_EQ(replayed({"# first", R"({"op":"config"})"}).outcome, Outcome::completed);
    for (char const* before : {R"({"op":"config"})", R"({"op":"snapshot"})"}) {
        auto const run = replayed({before, R"({"op":"config"})"});
        EXPECT_EQ(run.error, "'config' is not the first operation");
        EXPECT_EQ(run.errorLine, 2U);
    }
}

TEST(Replayer, ConfigurationIsOfNumbersThatMakeSense) {
    using Case = std::pair<char const*, char const*>;
    for (auto const& [field, why] :
         {Case(R"("intfCleanupDelay":"1")", "'intfCleanupDelay': expected a number"),
          Case(R"("ignoreKernelInterfaceState":1)", "expected true or false, found 1"),
          Case(R"("taskPriority":256)", "'taskPriority': expected an integer from 0 to 255"),
          Case(R"("taskPriority":1.5)", "'taskPriority': expected an integer from 0 to 255"),
          Case(R"("yieldEvery":-1)", "'yieldEvery': expected an integer from 0 to 4294967295"),
          Case(R"("delay":1)", "unknown field 'delay'")}) {
        auto const run = replayed({line(R"("op":"config",)" + std::string(field))});
        EXPECT_THAT(run.error, HasSubstr(why));
    }
    EXPECT_EQ(
        replayed({R"({"op":"config","intfCleanupDelay":-1,"deferredIntfAddDelay":-0.5})"}).outcome,
        Outcome::completed);
    EXPECT_EQ(replayed({R"({"op":"config","intfCleanupDelay":0,"deferredIntfAddDelay":0.5,)"
                        R"("ignoreKernelInterfaceState":true,"taskPriority":255,"yieldEvery":1})"})
                  .outcome,
              Outcome::completed);
}

TEST(Replayer, ConfigurationIsInEffect) {
    auto lines = prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                           R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
                           R"({"op":"expect","rows":{"red":[]}})"});
    EXPECT_EQ(replayed(lines).outcome, Outcome::expectationFailed);
    lines.insert(lines.begin(), R"({"op":"config","intfCleanupDelay":0})");
    EXPECT_EQ(replayed(lines).outcome, Outcome::completed);
}

TEST(Replayer, TheTraceOfATaskTellsWhetherItYields) {
    Options const traces{.traceLevel = 8, .traceClasses = {"IntfCleanupSm"}};
    auto lines = prepared({R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
                           R"({"op":"ip.intf.del","vrf":"red","intf":"eth1"})",
                           R"({"op":"advance","seconds":2})"});
    EXPECT_THAT(replayed(lines, traces).printed, Not(testing::Contains(HasSubstr("yielding"))));
    lines.insert(lines.begin(), R"({"op":"config","yieldEvery":1})");
    EXPECT_THAT(replayed(lines, traces).printed,
                testing::Contains(HasSubstr("yielding with 1 items remaining")));
}

TEST(Replayer, TimesAreNumbersThatNeverGoBack) {
    using Case = std::pair<char const*, char const*>;
    for (auto const& [at, why] :
         {Case("0.5", "'at': expected a time from 1 on, found 0.5"),
          Case("-1", "'at': expected a time from 1 on, found -1"),
          Case("\"2\"", "'at': expected a number, found \"2\""),
          Case("null", "'at': expected a number, found null"), Case("1e999", "number overflow")}) {
        auto const run = replayed(
            {R"({"op":"snapshot","at":1})", line(R"("op":"snapshot","at":)" + std::string(at))});
        EXPECT_THAT(run.error, HasSubstr(why));
        EXPECT_EQ(run.errorLine, 2U);
        EXPECT_EQ(run.printed.size(), 1U);
    }
    EXPECT_THAT(replayed({R"({"op":"snapshot","at":-0.5})"}).error,
                HasSubstr("expected a time from 0 on, found -0.5"));
    EXPECT_EQ(replayed({R"({"op":"snapshot","at":1})", R"({"op":"snapshot","at":1})"}).outcome,
              Outcome::completed);
}

TEST(Replayer, TheWaysToMoveTheClockAddUp) {
    auto const run = replayed({R"({"op":"config","at":0.5})", R"({"op":"advance","seconds":1})",
                               R"({"op":"snapshot","at":2})",
                               R"({"op":"advance","seconds":0.25,"at":3})", R"({"op":"snapshot"})",
                               R"({"op":"advance","seconds":0})", R"({"op":"snapshot"})"});
    EXPECT_THAT(run.printed,
                ElementsAre(R"({"t":2.0,"snapshot":{}})", R"({"t":3.25,"snapshot":{}})",
                            R"({"t":3.25,"snapshot":{}})"));
}

TEST(Replayer, AnAdvanceGoesForwardToATimeThatThereIs) {
    EXPECT_THAT(replayed({R"({"op":"advance","seconds":-1})"}).error,
                HasSubstr("'seconds': expected a number that is not negative, found -1"));
    EXPECT_THAT(replayed({R"({"op":"advance"})"}).error, HasSubstr("'seconds' is missing"));
    EXPECT_EQ(replayed({R"({"op":"advance","seconds":1.7e308})"}).outcome, Outcome::completed);
    EXPECT_THAT(replayed({R"({"op":"advance","seconds":1.7e308,"at":1.7e308})"}).error,
                HasSubstr("'seconds': expected a time that can be reached"));
}

// eth1 waits for the subnet of eth0, which goes at 0; cleaned up at 1.5, tried again at 3.5.
Lines conflict(Lines const& more) {
    Lines lines = prepared({
        R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
        R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
    });
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

std::string rowOnEth0(bool present) {
    return present ? R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.0.1","intf":"eth0"}})"
                   : R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.0.1","intf":null}})";
}

TEST(Replayer, TasksRunAtTheirOwnTimes) {
    auto const run = replayed(conflict({R"({"op":"advance","seconds":10})"}),
                              {.traceLevel = 8, .traceClasses = {"IntfCleanupSm"}});
    EXPECT_THAT(run.printed,
                testing::Contains(
                    R"({"t":1.5,"trace":{"level":8,"class":"IntfCleanupSm",)"
                    R"("function":"handleTaskRun",)"
                    R"("message":"starting backlog processing at 1.5 with 1 items in queue"}})"));
}

TEST(Replayer, WhatIsDueExactlyAtATimeRunsBeforeTheOperation) {
    std::string const early = R"({"op":"snapshot","at":1.4999999999999998})";
    std::string const late = R"({"op":"snapshot","at":1.5})";
    EXPECT_EQ(replayed(conflict({early, rowOnEth0(true)})).outcome, Outcome::completed);
    EXPECT_EQ(replayed(conflict({late, rowOnEth0(false)})).outcome, Outcome::completed);
    // It has run by the time of the operation itself.
    std::string atDeadline = rowOnEth0(false);
    atDeadline.insert(1, R"("at":1.5,)");
    EXPECT_EQ(replayed(conflict({atDeadline})).outcome, Outcome::completed);
}

// A task that yields is due again at once, at the present time.
TEST(Replayer, TimeGivenAsThePresentRunsWhatIsDueAndAnOperationWithoutTimeRunsNothing) {
    auto lines =
        prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                  R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.2/24"})",
                  R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"0.0.0.0/0"})",
                  R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.0.2","intf":null}})",
                  R"({"op":"snapshot","at":0})"});
    lines.insert(lines.begin(), R"({"op":"config","deferredIntfAddDelay":0})");
    lines.push_back(R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.0.2","intf":"eth1"}})");
    EXPECT_EQ(replayed(lines).outcome, Outcome::completed);

    lines[lines.size() - 2] = R"({"op":"snapshot"})";
    EXPECT_EQ(replayed(lines).outcome, Outcome::expectationFailed);

    lines[lines.size() - 2] = R"({"op":"advance","seconds":0})";
    EXPECT_EQ(replayed(lines).outcome, Outcome::completed);
}

// Every operation that may be refused for what the router is like, at a time when the clean-up of
// eth0 is due: nothing of the line is applied, so no time passes either.
TEST(Replayer, AnOperationThatIsRefusedMovesNoClock) {
    Options const everything{.events = true, .traceLevel = 9};
    Lines const calm = withoutSerials(replayed(conflict({}), everything).printed);
    for (std::string const operation :
         {R"("op":"nonsense")",
          R"("op":"config")",
          R"("op":"manager.start")",
          R"("op":"table.add","vrf":"")",
          R"("op":"table.del","vrf":"blue")",
          R"("op":"ip.vrf.add","vrf":"")",
          R"("op":"ip.vrf.del","vrf":"blue")",
          R"("op":"ip6.vrf.add","vrf":"")",
          R"("op":"ip6.vrf.del","vrf":"blue")",
          R"("op":"ip.intf.add","vrf":"blue","intf":"eth1")",
          R"("op":"ip.intf.add","vrf":"red","intf":"")",
          R"("op":"ip.intf.add","vrf":"red","intf":"eth1","secondary":["10.0.0.1"]})",
          R"("op":"ip.intf.del","vrf":"red","intf":"eth0")",
          R"("op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24")",
          R"("op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/44")",
          R"("op":"ip.unnumbered","vrf":"red","intf":"eth0","source":"eth1")",
          R"("op":"ip.secondary.add","vrf":"red","intf":"eth0","addr":"10.0.0.1/24")",
          R"("op":"ip.secondary.del","vrf":"red","intf":"eth1","addr":"10.0.0.1/24")",
          R"("op":"ip6.intf.add","vrf":"red","intf":"eth1","addrs":[{"addr":"::1"}])",
          R"("op":"ip6.intf.del","vrf":"red","intf":"eth2")",
          R"("op":"ip6.addr.set","vrf":"red","intf":"eth2","addr":"::1/64")",
          R"("op":"ip6.addr.del","vrf":"red","intf":"eth1","addr":"::1/64")",
          R"("op":"kernel.add","vrf":"red","intf":"eth1","operStatus":"UP")",
          R"("op":"kernel.add","vrf":"","intf":"eth1")",
          R"("op":"kernel.del","vrf":"red","intf":"eth2")",
          R"("op":"vip.add","vrf":"","addr":"10.0.0.1/24")",
          R"("op":"vip.del","vrf":"red","addr":"10.0.0.1/24")",
          R"("op":"vip6.add","vrf":"","addr":"::1")",
          R"("op":"vip6.del","vrf":"red","addr":"::1")",
          R"("op":"advance","seconds":-1)",
          R"("op":"snapshot","x":1)",
          R"("op":"lowest6","vrf":"blue","intf":"eth0")",
          R"("op":"lowest6","vrf":"red","intf":"")",
          R"("op":"dump","what":"all")",
          R"("op":"expect","rows":{"blue":[]})",
          R"("op":"expect","rows":{"red":[1]})",
          R"("op":"expect","lookup":{"vrf":"blue","addr":"::1","intf":null})",
          R"("op":"expect","lookup":{"vrf":"red","addr":"","intf":null})",
          R"("op":"expect","lookup":{"vrf":"red","addr":"::1","intf":""})",
          R"("op":"expect","lookup":{"vrf":"red","addr":"::1","intf":5})"}) {
        auto const lines = conflict({line(operation + R"(,"at":5)")});
        auto const run = replayed(lines, everything);
        EXPECT_FALSE(run.outcome) << operation;
        EXPECT_EQ(run.errorLine, lines.size()) << operation;
        EXPECT_NE(run.error, "") << operation;
        EXPECT_TRUE(withoutSerials(run.printed) == calm) << operation;
    }
    auto const stopped = replayed({R"({"op":"manager.stop"})", R"({"op":"manager.stop"})"});
    EXPECT_EQ(stopped.error, "the manager does not run");
    EXPECT_EQ(stopped.errorLine, 2U);
}

TEST(Replayer, EveryOperationLetsItsTimePass) {
    Lines const lines =
        prepared({R"({"op":"manager.stop","at":1})",
                  R"({"op":"manager.start","at":2})",
                  R"({"op":"table.add","vrf":"a","at":3})",
                  R"({"op":"table.del","vrf":"a","at":4})",
                  R"({"op":"ip.vrf.add","vrf":"a","at":5})",
                  R"({"op":"ip6.vrf.add","vrf":"a","at":6})",
                  R"({"op":"ip.intf.add","vrf":"a","intf":"e","at":7})",
                  R"({"op":"ip.primary","vrf":"a","intf":"e","addr":"10.0.0.1/24","at":8})",
                  R"({"op":"ip.unnumbered","vrf":"a","intf":"e","source":"f","at":9})",
                  R"({"op":"ip.secondary.add","vrf":"a","intf":"e","addr":"10.0.0.2/24","at":10})",
                  R"({"op":"ip.secondary.del","vrf":"a","intf":"e","addr":"10.0.0.2/24","at":11})",
                  R"({"op":"ip.intf.del","vrf":"a","intf":"e","at":12})",
                  R"({"op":"ip6.intf.add","vrf":"a","intf":"e","at":13})",
                  R"({"op":"ip6.addr.set","vrf":"a","intf":"e","addr":"1::1/64","at":14})",
                  R"({"op":"ip6.addr.del","vrf":"a","intf":"e","addr":"1::1/64","at":15})",
                  R"({"op":"ip6.intf.del","vrf":"a","intf":"e","at":16})",
                  R"({"op":"ip.vrf.del","vrf":"a","at":17})",
                  R"({"op":"ip6.vrf.del","vrf":"a","at":18})",
                  R"({"op":"kernel.add","vrf":"a","intf":"e","at":19})",
                  R"({"op":"kernel.del","vrf":"a","intf":"e","at":20})",
                  R"({"op":"vip.add","vrf":"a","addr":"10.0.0.1/24","at":21})",
                  R"({"op":"vip.del","vrf":"a","addr":"10.0.0.1/24","at":22})",
                  R"({"op":"vip6.add","vrf":"a","addr":"1::1","at":23})",
                  R"({"op":"vip6.del","vrf":"a","addr":"1::1","at":24})",
                  R"({"op":"advance","seconds":0,"at":25})",
                  R"({"op":"snapshot","at":26})",
                  R"({"op":"lowest6","vrf":"red","intf":"e","at":27})",
                  R"({"op":"dump","at":28})",
                  R"({"op":"expect","at":29})"});
    std::string text;
    for (auto const& each : lines) {
        text += each + '\n';
    }
    std::istringstream in(text);
    std::ostringstream out;
    std::vector<Zin::Seconds> times;
    auto const outcome = replay(in, out, {}, [&times](std::uint64_t number, Zin::Seconds time) {
        EXPECT_EQ(number, times.size() + 1);
        times.push_back(time);
    });
    EXPECT_EQ(outcome, Outcome::completed);
    ASSERT_EQ(times.size(), lines.size());
    std::size_t const before = lines.size() - 29;
    for (std::size_t n = before; n < times.size(); ++n) {
        EXPECT_EQ(times[n], static_cast<double>(n - before + 1)) << lines[n];
    }
}

TEST(Replayer, TasksThatNeverRestEndTheRunAsAnError) {
    auto const lines = conflict({R"({"op":"advance","seconds":10})"});
    auto const run = replayed(lines, {.maxTaskRuns = 0});
    EXPECT_EQ(run.error, "tasks ran more than 0 times on the way to 10");
    EXPECT_EQ(run.errorLine, lines.size());
    EXPECT_EQ(replayed(lines, {.maxTaskRuns = 1}).outcome, Outcome::completed);
}

TEST(Replayer, WhatAnInputRefusesIsPrintedAndTheRunGoesOn) {
    auto const lines =
        prepared({R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0","at":1.5,)"
                  R"("addrs":[{"addr":"fe80::1/64","deprecated":true},{"addr":"1::1/64"}]})",
                  R"({"op":"expect","lookup":{"vrf":"red","addr":"1::1","intf":"eth0"}})"});
    auto const run = replayed(lines);
    EXPECT_EQ(run.outcome, Outcome::completed);
    EXPECT_THAT(run.printed,
                ElementsAre(R"({"t":1.5,"error":{"line":10,)"
                            R"("message":"cannot deprecate IPv6 link-local address"}})"));
}

TEST(Replayer, ATableThatIsRefusedIsAnErrorToo) {
    auto const run = replayed({line(R"("op":"table.add","vrf":")" + std::string(148, 'x') + "\""),
                               R"({"op":"dump","what":"sm"})"});
    EXPECT_EQ(run.outcome, Outcome::completed);
    EXPECT_THAT(run.printed, ElementsAre(R"({"t":0.0,"error":{"line":1,)"
                                         R"("message":"Zin::String::bytes > 150 not allowed"}})",
                                         R"({"t":0.0,"dump":""})"));
}

TEST(Replayer, LongNamesAreCutInMessages) {
    std::string const name(100'000, 'x');
    auto const run = replayed({line(R"("op":"table.del","vrf":")" + name + "\"")});
    EXPECT_THAT(run.error, HasSubstr("there is no VRF 'xxx"));
    EXPECT_LT(run.error.size(), 500U);
}

// eth0 has one address in two lengths, one of which waits for the other; with the interface it is
// forgotten, but for the backlog.
Lines brokenWhileTimePasses() {
    return prepared({R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24",)"
                     R"("secondary":["10.0.0.1/16"]})",
                     R"({"op":"ip.intf.del","vrf":"red","intf":"eth0","at":1.875})",
                     R"({"op":"expect","at":2.5})", R"({"op":"snapshot"})"});
}

// The address of eth2, which has no device, is withdrawn while eth0 has its subnet.
Lines brokenAtOnce() {
    return prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                     R"({"op":"ip.intf.add","vrf":"red","intf":"eth2","primary":"10.0.0.2/24"})",
                     R"({"op":"ip.primary","vrf":"red","intf":"eth2","addr":"0.0.0.0/0"})",
                     R"({"op":"snapshot"})"});
}

TEST(Replayer, AFailedInvariantEndsTheRun) {
    auto const run = replayed(brokenAtOnce());
    EXPECT_EQ(run.outcome, Outcome::invariantFailed);
    EXPECT_THAT(run.printed,
                ElementsAre(R"({"t":0.0,"assert":{"line":12,"message":)"
                            R"("subnet 10.0.0.0/24 on eth2 has unexpected conflict on eth0"}})"));
}

TEST(Replayer, AFailedInvariantBearsTheLineThatMovedTheClock) {
    auto const run = replayed(brokenWhileTimePasses());
    EXPECT_EQ(run.outcome, Outcome::invariantFailed);
    EXPECT_THAT(
        run.printed,
        ElementsAre(R"({"t":2.0,"assert":{"line":12,"message":)"
                    R"("intfId=eth0;addrWithMask=10.0.0.1/16 missing in all collection"}})"));
}

// A try that comes upon an address that nobody wants any more fails on the way to the line's time.
TEST(Replayer, ALineOnWhoseWayAnInvariantFailsIsNotCarriedOut) {
    auto const run = replayed(prepared({
        R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
        R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.1/24"})",
        R"({"at":1,"op":"ip.intf.del","vrf":"red","intf":"eth1"})",
        R"({"at":5,"op":"snapshot"})",
    }));
    EXPECT_EQ(run.outcome, Outcome::invariantFailed);
    EXPECT_THAT(run.printed, ElementsAre(HasSubstr("missing in all collection")));
}

TEST(Replayer, NothingIsPrintedAfterAFailedInvariant) {
    for (auto const& lines : {brokenAtOnce(), brokenWhileTimePasses()}) {
        auto const run = replayed(lines, {.events = true, .traceLevel = 9});
        ASSERT_GT(run.printed.size(), 1U);
        EXPECT_THAT(run.printed.back(), HasSubstr(R"("assert":{)"));
        for (std::size_t n = 0; n + 1 < run.printed.size(); ++n) {
            EXPECT_THAT(run.printed[n], Not(HasSubstr(R"("assert":{)")));
        }
    }
}

TEST(Replayer, NothingIsPrintedOfTheEnd) {
    Lines lines =
        prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})"});
    Options const everything{.events = true, .traceLevel = 9};
    auto const ended = withoutSerials(replayed(lines, everything).printed);
    lines.push_back(R"({"op":"manager.stop"})");
    auto stopped = withoutSerials(replayed(lines, everything).printed);

    ASSERT_GT(stopped.size(), ended.size());
    stopped.resize(ended.size());
    EXPECT_TRUE(stopped == ended);
}

TEST(Replayer, ARunLeavesTracesAndAssertionsAsTheyWere) {
    Pell::traceLevelIs("IntfCleanupSm", 3);
    Pell::ThrowOnAssertion const throwOnAssertion;
    auto const handler = Pell::assertionHandlerIs(nullptr);
    Pell::assertionHandlerIs(handler);

    replayed(brokenAtOnce(), {.events = true, .traceLevel = 9});

    EXPECT_EQ(Pell::traceLevel("IntfCleanupSm"), 3);
    EXPECT_EQ(Pell::traceLevel("IntfAddrVrfTableSm"), 0);
    EXPECT_EQ(Pell::sinkIs(nullptr), nullptr);
    EXPECT_EQ(Pell::assertionHandlerIs(handler), handler);
    Pell::traceLevelIs("*", 0);
}

TEST(Replayer, TheSameFilePrintsTheSame) {
    Options const everything{.events = true, .traceLevel = 9};
    auto lines = conflict({R"({"op":"advance","seconds":10})", R"({"op":"snapshot"})"});
    EXPECT_EQ(withoutSerials(replayed(lines, everything).printed),
              withoutSerials(replayed(lines, everything).printed));
}

TEST(Replayer, StopsWhereNothingCanBeWritten) {
    std::string text;
    for (int n = 0; n < 100; ++n) {
        text += "{\"op\":\"snapshot\"}\n";
    }
    std::istringstream in(text);
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    std::uint64_t lines = 0;
    replay(in, out, {}, [&lines](std::uint64_t, Zin::Seconds) { ++lines; });
    EXPECT_LT(lines, 2U);
}

}  // namespace
}  // namespace Scenario
