#include "feeds/scenario/OperationWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "feeds/scenario/Fields.h"
#include "feeds/scenario/Operations.h"
#include "feeds/scenario/TestReplay.h"
#include "router/TestOperations.h"

namespace Scenario {
namespace {

using testing::Contains;
using testing::HasSubstr;

TEST(OperationWriter, EachOperationIsReadBackAsItWas) {
    std::ostringstream out;
    Scenario::Run run(out, {}, {});
    Routing::OperationRecorder recorder(run.router().inputs().effects());
    std::set<std::size_t> kinds;
    for (auto const& operation : Routing::everyOperation()) {
        recorder.operations.clear();
        kinds.insert(operation.index());
        std::string const line = lineOf(operation).dump();
        Json object = readObject(line);
        auto const& read = operationOf(object.at("op").get<std::string>());
        object.erase("op");
        Fields const fields(object, read.fields);
        run.carryOut(1, {}, [&] { return read.check(run, fields); });

        ASSERT_EQ(recorder.operations.size(), 1U) << line;
        EXPECT_EQ(recorder.operations[0].index(), operation.index()) << line;
        EXPECT_EQ(Routing::text(recorder.operations[0]), Routing::text(operation)) << line;
        EXPECT_EQ(lineOf(recorder.operations[0]).dump(), line);
    }
    EXPECT_EQ(kinds.size(), std::variant_size_v<Routing::Operation>);
}

TEST(OperationWriter, NoFieldIsLeftToItsDefault) {
    EXPECT_EQ(lineOf(Routing::IpIntfAdd{"red", "eth0", {}}).dump(),
              R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"0.0.0.0/0",)"
              R"("unnumbered":"","secondary":[]})");
    EXPECT_EQ(lineOf(Routing::KernelAdd{"red", "eth0", {}}).dump(),
              R"({"op":"kernel.add","vrf":"red","intf":"eth0","deviceName":"","ifIndex":0,)"
              R"("operStatus":"up","active":true})");
}

// Records the operations of a run; tasks may run before each line that has a time.
struct Recorder final : Routing::OperationObserver {
    explicit Recorder(Run& of) : run(of), history(run.router(), 1000) {
        run.router().inputs().effects().observerAdd(*this);
    }
    ~Recorder() override { run.router().inputs().effects().observerDel(*this); }

    void handleOperation(Routing::Operation const& operation) override {
        history.record(operation);
    }

    Run& run;
    Routing::OperationHistory history;
};

// What a run of these lines prints, and the lines that it is recorded as.
std::pair<Lines, Lines> recorded(Config const& config, Lines const& lines) {
    auto const linesOf = [](std::stringstream& text) {
        Lines all;
        for (std::string line; std::getline(text, line);) {
            all.push_back(line);
        }
        return all;
    };
    std::stringstream out;
    std::stringstream scenario;
    Run run(out, config, {.events = true});
    Recorder recorder(run);
    for (std::string const& line : lines) {
        Json object = readObject(line);
        auto const& operation = operationOf(object.at("op").get<std::string>());
        object.erase("op");
        std::optional<Zin::Seconds> at;
        if (object.contains("at")) {
            at = object.at("at").get<double>();
            object.erase("at");
            recorder.history.tasksRan();
        }
        Fields const fields(object, operation.fields);
        run.carryOut(1, at, [&] { return operation.check(run, fields); });
    }
    writeScenario(scenario, config, recorder.history.recording());
    return {linesOf(out), linesOf(scenario)};
}

// Long enough for deferred additions and clean-ups, some of which are due exactly when a line is.
Lines const busy = prepared({
    R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
    R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.2/24"})",
    R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"2001:db8::1/64"})",
    R"({"op":"ip6.addr.set","vrf":"red","intf":"eth1","addr":"fe80::1/64","at":0.1})",
    R"({"op":"ip.intf.del","vrf":"red","intf":"eth0","at":0.30000000000000004})",
    R"({"op":"ip6.intf.del","vrf":"red","intf":"eth0"})",
    R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.3/24","at":1.8})",
    R"({"op":"kernel.del","vrf":"red","intf":"eth1","at":12.5})",
    R"({"op":"vip.add","vrf":"red","addr":"10.0.0.9/24"})",
    R"({"op":"kernel.add","vrf":"red","intf":"eth1","at":13})",
    R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"0.0.0.0/0","at":20})",
    R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.2/24","at":40})",
});

TEST(OperationWriter, ARecordedRunIsReplayedToTheSameOutput) {
    auto const [printed, scenario] = recorded({}, busy);
    EXPECT_GT(printed.size(), 20U);
    EXPECT_THAT(scenario, Contains(HasSubstr(R"("at":0.30000000000000004})")));

    auto const again = replayed(scenario, {.events = true});
    EXPECT_EQ(again.error, "");
    EXPECT_EQ(again.outcome, Outcome::completed);
    EXPECT_EQ(again.printed, printed);
}

TEST(OperationWriter, ARecordedRunIsReplayedUnderItsConfiguration) {
    Config const config{.machines = {.intfCleanupDelay = 0.0,
                                     .deferredIntfAddDelay = 0.5,
                                     .ignoreKernelInterfaceState = true,
                                     .taskPriority = static_cast<Velk::TaskPriority>(5)},
                        .yieldEvery = 7};
    auto const [printed, scenario] = recorded(config, busy);
    EXPECT_EQ(scenario[0], R"({"op":"config","intfCleanupDelay":0.0,"deferredIntfAddDelay":0.5,)"
                           R"("ignoreKernelInterfaceState":true,"taskPriority":5,"yieldEvery":7})");
    EXPECT_EQ(replayed(scenario, {.events = true}).printed, printed);
    EXPECT_NE(recorded({}, busy).first, printed);
}

TEST(OperationWriter, WhatTasksHaveDoneBetweenTwoOperationsOfOneTimeIsReplayed) {
    Config const config{.machines = {.intfCleanupDelay = 0.0, .deferredIntfAddDelay = 0.0}};
    Lines const lines = prepared({
        R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
        R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.0.2/24"})",
        R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"0.0.0.0/0"})",
        R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24","at":0})",
        R"({"op":"snapshot"})",
    });
    auto const [printed, scenario] = recorded(config, lines);
    EXPECT_THAT(scenario.back(), HasSubstr(R"("at":0.0})"));

    Lines withSnapshot = scenario;
    withSnapshot.push_back(R"({"op":"snapshot"})");
    EXPECT_EQ(replayed(withSnapshot, {.events = true}).printed, printed);
}

TEST(OperationWriter, ANameThatIsNoUtf8IsWrittenAsItCanBeRead) {
    std::stringstream out;
    Scenario::Run run(out, {}, {});
    Recorder recorder(run);
    run.router().inputs().kernelAdd("red", "et\xff", {}).apply();

    std::stringstream scenario;
    writeScenario(scenario, {}, recorder.history.recording());
    auto const again = replayedText(scenario.str());
    EXPECT_EQ(again.error, "");
}

}  // namespace
}  // namespace Scenario
