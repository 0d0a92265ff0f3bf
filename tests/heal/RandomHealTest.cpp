// Random scenarios that look for trouble, in a run that heals itself: whatever goes wrong on the
// way, in the end the tables are those of what is published, and observers were told of it all.
//
// HEAL_SCENARIOS in the environment says how many scenarios, HEAL_SEED from which seed.

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include "Trial.h"
#include "random/Numbers.h"

namespace Healing {
namespace {

std::string report(RandomScenario const& scenario, std::string_view kind) {
    auto const least = shrunk(scenario, kind);
    std::string text = toLines(least);
    for (auto const& fault : tried(least)) {
        text += fmt::format("# {}: {}\n", fault.kind, fault.what);
    }
    return text;
}

TEST(RandomHeal, WhateverGoesWrongOnTheWayAllIsRightInTheEnd) {
    auto const seed = RandomStatus::number("HEAL_SEED", 20112);
    auto const scenarios = RandomStatus::number("HEAL_SCENARIOS", 200);
    // Of each kind the first one is shown.
    std::map<std::string_view, std::uint64_t> wrong;
    for (std::uint64_t i = 0; i < scenarios; ++i) {
        auto const scenario = randomScenario(seed, i);
        auto const faults = tried(scenario);
        if (!faults.empty() && ++wrong[faults.front().kind] == 1) {
            ADD_FAILURE() << fmt::format("Scenario {} of seed {}, profile {}, shrunk:\n", i, seed,
                                         scenario.profile)
                          << report(scenario, faults.front().kind);
        }
    }
    std::cout << fmt::format("{} scenarios of seed {}\n", scenarios, seed);
    for (auto const& [kind, count] : wrong) {
        std::cout << fmt::format("{}: {} times\n", kind, count);
    }
}

}  // namespace
}  // namespace Healing
