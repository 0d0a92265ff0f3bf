#include "RandomScenario.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>

#include "Trial.h"
#include "feeds/scenario/Snapshot.h"
#include "feeds/scenario/TestReplay.h"

namespace Healing {
namespace {

TEST(RandomScenario, IsTheSameForTheSameSeedAndNumberAlone) {
    auto const text = [](std::uint64_t seed, std::uint64_t number) {
        return toLines(randomScenario(seed, number));
    };
    EXPECT_EQ(text(1, 2), text(1, 2));
    EXPECT_NE(text(1, 2), text(1, 3));
    EXPECT_NE(text(1, 2), text(2, 2));
}

TEST(RandomScenario, HasEveryKindOfOperationNowAndThen) {
    std::set<Operation::Kind> kinds;
    std::set<Zin::Seconds> cleanupDelays;
    std::set<Zin::Seconds> deferredDelays;
    std::set<std::uint32_t> yields;
    std::set<bool> ignoresKernel;
    for (std::uint64_t number = 0; number < 1000; ++number) {
        auto const scenario = randomScenario(1, number);
        for (auto const& operation : scenario.operations) {
            kinds.insert(operation.kind);
        }
        cleanupDelays.insert(scenario.config.machines.intfCleanupDelay);
        deferredDelays.insert(scenario.config.machines.deferredIntfAddDelay);
        yields.insert(scenario.config.yieldEvery);
        ignoresKernel.insert(scenario.config.machines.ignoreKernelInterfaceState);
    }
    EXPECT_EQ(kinds.size(), Operation::kinds);
    EXPECT_EQ(cleanupDelays.size(), 10u);
    EXPECT_EQ(deferredDelays.size(), 10u);
    EXPECT_EQ(yields.size(), 3u);
    EXPECT_EQ(ignoresKernel.size(), 2u);
}

// What is printed of a scenario can be replayed, and comes to the same.
TEST(RandomScenario, IsWrittenAsAScenarioThatMakesSense) {
    for (std::uint64_t number = 0; number < 50; ++number) {
        auto const scenario = randomScenario(1, number, Manners::gentle);
        std::ostream nowhere(nullptr);
        Scenario::Run run(nowhere, scenario.config, {});
        Book book;
        carryOut(scenario.operations, run, book);
        run.advanceTo(book.now() + timeToSettle(scenario.config));

        auto const replayed = Scenario::replayedText(toLines(scenario));

        ASSERT_EQ(replayed.error, "") << "line " << replayed.errorLine;
        ASSERT_EQ(replayed.printed.size(), 1u);
        EXPECT_EQ(Scenario::OrderedJson::parse(replayed.printed[0])["snapshot"],
                  Scenario::snapshot(run.router()));
    }
}

TEST(RandomScenario, WithGentleMannersNeedsNoRepair) {
    for (std::uint64_t number = 0; number < 300; ++number) {
        auto const trial = tried(randomScenario(1, number, Manners::gentle), Repair::off);
        for (auto const& fault : trial.faults) {
            ADD_FAILURE() << number << ": " << fault.kind << ": " << fault.what;
        }
    }
}

}  // namespace
}  // namespace Healing
