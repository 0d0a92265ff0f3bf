// An agent on a kernel to which anything happens, in virtual time: at any time it says what it does
// not know, and whenever it is left in peace it publishes what there is.
//
// AGENT_HISTORIES in the environment says how many histories, AGENT_SEED the seed of the first; the
// next one has the next seed.

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <string_view>

#include "Trial.h"
#include "Zin/Format.h"
#include "random/Numbers.h"

namespace Simulated {
namespace {

// How many of each kind are shown, shrunk.
constexpr std::uint64_t shown = 1;

std::string report(std::uint64_t seed, std::string_view kind) {
    auto const least = shrunk(randomHistory(seed), kind);
    std::string lines = fmt::format("scripts/soak --agent 1 {}\n{}", seed, text(least));
    for (Fault const& fault : tried(least)) {
        lines += fmt::format("# {}: {}\n", fault.kind, fault.what);
    }
    return lines;
}

TEST(RandomAgent, WhateverHappensItPublishesWhatThereIs) {
    auto const histories = RandomStatus::number("AGENT_HISTORIES", 200);
    auto const first = RandomStatus::number("AGENT_SEED", 20112);
    std::map<std::string_view, std::uint64_t> wrong;
    for (auto seed = first; seed < first + histories; ++seed) {
        std::map<std::string_view, std::uint64_t> kinds;
        for (Fault const& fault : tried(randomHistory(seed))) {
            ++kinds[fault.kind];
        }
        for (auto const& [kind, count] : kinds) {
            if (++wrong[kind] <= shown) {
                ADD_FAILURE() << report(seed, kind);
            }
        }
    }
    std::cout << fmt::format("{} histories from seed {}\n", histories, first);
    for (auto const& [kind, count] : wrong) {
        std::cout << fmt::format("{}: in {} histories\n", kind, count);
    }
}

}  // namespace
}  // namespace Simulated
