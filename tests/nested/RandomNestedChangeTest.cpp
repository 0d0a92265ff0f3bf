// Random lists of changes that an observer makes from within a notification: the same tables come
// of them as of the same changes, made right after the change that it was told of.
//
// NESTED_LISTS in the environment says how many lists, NESTED_SEED from which seed.

#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "Trial.h"
#include "Zin/Format.h"
#include "random/Numbers.h"

namespace Nested {
namespace {

void expectTheSame(Outer outer, Promise const& promise, Manager manager = Manager::stays) {
    auto const seed = RandomStatus::number("NESTED_SEED", 20112);
    auto const lists = RandomStatus::number("NESTED_LISTS", 2000);
    std::uint64_t outcomes[4] = {};
    std::uint64_t between = 0;
    auto const count = [&](Outcome outcome) { return outcomes[static_cast<int>(outcome)]; };
    for (std::uint64_t i = 0; count(Outcome::same) + count(Outcome::different) < lists; ++i) {
        ASSERT_LT(i, 20 * lists) << "hardly a list can be tried";
        auto const list = randomList(seed, i, outer, manager);
        Trial const trial = tried(list, promise);
        auto const outcome = trial.outcome;
        ++outcomes[static_cast<int>(outcome)];
        between += trial.part == Part::oldPrimary;
        if (outcome == Outcome::different && count(outcome) <= 3) {
            ADD_FAILURE() << fmt::format("List {} of seed {}, shrunk. ", i, seed)
                          << report(list, promise);
        }
    }
    std::cout << fmt::format(
        "{} lists of seed {}: {} alike, {} differ, {} left out, {} not told; {} told of how an old "
        "primary address leaves\n",
        lists, seed, count(Outcome::same), count(Outcome::different), count(Outcome::leftOut),
        count(Outcome::notTold), between);
    EXPECT_EQ(count(Outcome::different), 0u);
}

TEST(RandomNestedChange, WithinAnUnrelatedOneIsAsGoodAsRightAfterIt) {
    expectTheSame(Outer::unrelated, {.atOnce = true});
}

TEST(RandomNestedChange, WithinOneOfTheSameAddressesComesToTheSameInTheEnd) {
    expectTheSame(Outer::ofSameAddresses, {.atOnce = false});
}

TEST(RandomNestedChange, WithinAnUnrelatedOneIsDoneWhenItsMakerLooks) {
    expectTheSame(Outer::unrelated, {.atOnce = true, .foundWithin = true});
}

TEST(RandomNestedChange, WithinAnUnrelatedOneMayStopTheManager) {
    expectTheSame(Outer::unrelated, {.atOnce = true}, Manager::comesAndGoes);
}

TEST(RandomNestedChange, WithinOneOfTheSameAddressesMayStopTheManager) {
    expectTheSame(Outer::ofSameAddresses, {.atOnce = false}, Manager::comesAndGoes);
}

}  // namespace
}  // namespace Nested
