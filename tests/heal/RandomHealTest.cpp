// Random scenarios that look for trouble, in a run that heals itself: whatever goes wrong on the
// way, in the end the tables are those of what is published, and observers were told of it all.
//
// HEAL_SCENARIOS in the environment says how many scenarios, HEAL_SEED from which seed.

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Trial.h"
#include "Zin/Format.h"
#include "random/Numbers.h"

namespace Healing {
namespace {

std::set<std::string_view> kindsOf(std::vector<Fault> const& faults) {
    std::set<std::string_view> kinds;
    for (auto const& fault : faults) {
        kinds.insert(fault.kind);
    }
    return kinds;
}

std::string report(RandomScenario const& scenario, std::string_view kind) {
    auto const least = shrunk(scenario, kind);
    std::string text = toLines(least);
    for (auto const& fault : tried(least).faults) {
        text += fmt::format("# {}: {}\n", fault.kind, fault.what);
    }
    return text;
}

std::uint64_t seed() { return RandomStatus::number("HEAL_SEED", 20112); }
std::uint64_t scenarios() { return RandomStatus::number("HEAL_SCENARIOS", 200); }

TEST(RandomHeal, WhateverGoesWrongOnTheWayAllIsRightInTheEnd) {
    // Of each kind the first one is shown.
    std::map<std::string_view, std::uint64_t> wrong;
    std::uint64_t repaired = 0;
    std::uint64_t repairs = 0;
    for (std::uint64_t i = 0; i < scenarios(); ++i) {
        auto const scenario = randomScenario(seed(), i);
        auto const trial = tried(scenario);
        repaired += trial.repairs > 0;
        repairs += trial.repairs;
        for (auto const kind : kindsOf(trial.faults)) {
            if (++wrong[kind] == 1) {
                ADD_FAILURE() << fmt::format("Scenario {} of seed {}, profile {}, shrunk:\n", i,
                                             seed(), scenario.profile)
                              << report(scenario, kind);
            }
        }
    }
    std::cout << fmt::format("{} scenarios of seed {}: {} with {} repairs\n", scenarios(), seed(),
                             repaired, repairs);
    for (auto const& [kind, count] : wrong) {
        std::cout << fmt::format("{}: in {} scenarios\n", kind, count);
    }
    EXPECT_GE(repaired, scenarios() / 10) << "hardly a scenario makes trouble";
}

TEST(RandomHeal, WhatIsNeverWrongIsLeftAlone) {
    for (std::uint64_t i = 0; i < scenarios() / 10; ++i) {
        auto const scenario = randomScenario(seed(), i, Manners::gentle);
        ASSERT_EQ(tried(scenario).repairs, 0u) << "Scenario " << i << ":\n" << toLines(scenario);
    }
}

}  // namespace
}  // namespace Healing
