// Changes that an observer makes at random from within notifications, also of changes that it has
// made from within others. The same tables come of them as of the same changes, made one after the
// other in the order in which they were begun.
//
// NESTED_LISTS in the environment says how many runs, NESTED_SEED from which seed.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "Stage.h"
#include "Zin/Format.h"
#include "random/Numbers.h"

namespace Nested {
namespace {

constexpr int depthMost = 3;
constexpr int outermostChanges = 4;

struct Made {
    Operation operation;
    int depth;
};

// What was made, in the order in which it was begun, and the tables after each outermost change and
// in the end.
struct Run {
    std::vector<Made> made{};
    std::vector<std::size_t> ends{};
    std::vector<Tables> tables{};
    std::string failedInvariant{};
};

// `perform` gets the stage and the run to fill in.
template <class Perform>
Run runOf(Stage::Options const& options, Perform&& perform) {
    Run run;
    run.failedInvariant = actedOn(options, [&](Stage& stage) {
        perform(stage, run);
        stage.observer().actIs(nullptr);
        stage.advance(allDelays);
        run.tables.push_back(stage.tables());
    });
    return run;
}

class Within {
public:
    explicit Within(std::uint64_t seed) : seed_(seed), random_(seed) {}

    Run run() {
        Stage::Options const options = this->options();
        return runOf(options, [&](Stage& stage, Run& run) {
            stage.observer().actIs([&](std::uint32_t) { act(stage, run); });
            for (int i = 0; i < outermostChanges; ++i) {
                perform(anyOperation(), stage, run);
                run.ends.push_back(run.made.size());
                run.tables.push_back(stage.tables());
            }
        });
    }
    Stage::Options options() const {
        return {.intfCleanupDelay = seed_ % 2 == 0 ? 0.0 : 1.5,
                .observerIsOlder = seed_ / 2 % 2 == 0};
    }

private:
    void act(Stage& stage, Run& run) {
        if (!isWhole_ || depth_ == depthMost || left_ == 0 || random_() % 3 != 0) {
            return;
        }
        ++depth_;
        for (auto n = 1 + random_() % 3; n > 0 && left_ > 0; --n) {
            --left_;
            auto operation = anyOperation();
            while (operation.kind == Operation::Kind::advance) {
                operation = anyOperation();  // time does not pass within a notification
            }
            perform(operation, stage, run);
        }
        --depth_;
    }

    void perform(Operation const& operation, Stage& stage, Run& run) {
        bool const wasWhole = isWhole_;
        isWhole_ = isWhole_ && isOneChange(operation, stage.router());
        run.made.push_back({operation, depth_});
        stage.apply(operation);
        isWhole_ = wasWhole;
    }

    // Of one that consists of several the observer would be told before the last is begun.
    static bool isOneChange(Operation const& operation, Routing::Router& router) {
        switch (operation.kind) {
            case Operation::Kind::ipIntfAdd:
            case Operation::Kind::ip6IntfAdd:
            case Operation::Kind::advance:
                return false;
            default:
                return !replacesPrimary(operation, router);
        }
    }

    Operation anyOperation() {
        auto const list = randomList(seed_, number_++, Outer::ofSameAddresses);
        auto const& from = random_() % 2 == 0 || list.before.empty() ? list.nested : list.before;
        return from[random_() % from.size()];
    }

    std::uint64_t const seed_;
    std::mt19937_64 random_;
    std::uint64_t number_ = 0;
    int depth_ = 0;
    int left_ = 12;
    bool isWhole_ = true;
};

Run runAfter(Run const& within, Stage::Options const& options) {
    return runOf(options, [&](Stage& stage, Run& run) {
        auto end = within.ends.begin();
        for (std::size_t i = 0; i < within.made.size(); ++i) {
            stage.apply(within.made[i].operation);
            while (end != within.ends.end() && *end == i + 1) {
                run.tables.push_back(stage.tables());
                ++end;
            }
        }
    });
}

std::string differenceOf(Run const& within, Run const& after) {
    if (!within.failedInvariant.empty()) {
        return within.failedInvariant;
    }
    for (std::size_t i = 0; i < after.tables.size(); ++i) {
        if (within.tables[i] != after.tables[i]) {
            return fmt::format("{} {} outermost changes:\n{}",
                               i < outermostChanges ? "after" : "once all delays have passed after",
                               std::min<std::size_t>(i + 1, outermostChanges),
                               difference(within.tables[i], after.tables[i]));
        }
    }
    return "";
}

std::string report(Run const& within, Stage::Options const& options) {
    std::string text =
        fmt::format("delay {}, the observer is {} than the machine\n", options.intfCleanupDelay,
                    options.observerIsOlder ? "older" : "younger");
    for (auto const& [operation, depth] : within.made) {
        text += std::string(4 * static_cast<std::size_t>(depth), ' ') + toLine(operation) + "\n";
    }
    return text;
}

TEST(RandomNestedChange, WithinOthersThatAreNestedAreAsGoodAsOneAfterTheOther) {
    auto const seed = RandomStatus::number("NESTED_SEED", 20112);
    auto const runs = RandomStatus::number("NESTED_LISTS", 2000);
    std::uint64_t ofDepth[depthMost + 1] = {};
    std::uint64_t leftOut = 0;
    std::uint64_t different = 0;
    for (std::uint64_t i = 0; i < runs; ++i) {
        Within trial(seed + i);
        auto const within = trial.run();
        auto const after = runAfter(within, trial.options());
        if (!after.failedInvariant.empty()) {
            ++leftOut;
            continue;
        }
        int depth = 0;
        for (auto const& made : within.made) {
            depth = std::max(depth, made.depth);
        }
        ++ofDepth[depth];
        auto const difference = differenceOf(within, after);
        if (!difference.empty() && ++different <= 3) {
            ADD_FAILURE() << fmt::format("seed {}: {}{}", seed + i, report(within, trial.options()),
                                         difference);
        }
    }
    std::cout << fmt::format(
        "{} runs from seed {}: {} differ, {} left out; by depth: {}, {}, {}, {}\n", runs, seed,
        different, leftOut, ofDepth[0], ofDepth[1], ofDepth[2], ofDepth[3]);
    EXPECT_EQ(different, 0u);
    EXPECT_GE(ofDepth[depthMost], runs / 50);
}

}  // namespace
}  // namespace Nested
