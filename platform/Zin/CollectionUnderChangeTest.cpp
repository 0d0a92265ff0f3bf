// What handlers may do to a collection while it changes.

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Zin/TestDepot.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CollectionUnderChange : public Collections {};

TEST_F(CollectionUnderChange, KeepsWhatHandlersInsertDuringDelAll) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a") && !depot_->derived().has("new")) {
            depot_->derivedIs(makeCrate("new"));
        }
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a", "derived new", "derived b"));
    EXPECT_TRUE(depot_->derived().has("new"));
    EXPECT_EQ(depot_->derived().map().size(), 1u);
}

TEST_F(CollectionUnderChange, TellsOnceOfAMemberThatAHandlerRemovesDuringDelAll) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedIs(makeCrate("c"));
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a")) {
            depot_->derivedDel("b");
        }
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a", "derived b", "derived c"));
    EXPECT_TRUE(depot_->derived().map().empty());
}

TEST_F(CollectionUnderChange, FinishesDelAllAfterItsObserversHaveLeft) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [&](String const&) { observer_->notifierIs(nullptr); };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a"));
    EXPECT_TRUE(depot_->derived().map().empty());
}

TEST_F(CollectionUnderChange, FinishesDelAllAlthoughAHandlerFails) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    observe();
    observer_->act = [](String const& key) { throw std::runtime_error(key.bytes()); };

    try {
        depot_->derivedDelAll();
        FAIL() << "nobody was told of the failure";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "a");
    }

    EXPECT_THAT(told(), ElementsAre("derived a", "derived b"));
    EXPECT_TRUE(depot_->derived().map().empty());
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(CollectionUnderChange, FinishesDelAllAlthoughTheOwnersLastPointerGoes) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedIs(makeCrate("c"));
    observe();
    observer_->act = [&](String const&) {
        depot_ = nullptr;
        observer_->notifierIs(nullptr);
    };

    depot_->derivedDelAll();

    EXPECT_THAT(told(), ElementsAre("derived a"));
    EXPECT_EQ(life_.destroyed, 3);
}

TEST_F(CollectionUnderChange, ReportsATeardownThatFailsWhileItIsEmptiedInOneStep) {
    depot_->derivedIs(makeCrate("a"));
    depot_->derivedIs(makeCrate("b"));
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(depot_->derivedDelAll(), std::runtime_error);

    EXPECT_TRUE(depot_->derived().map().empty());
    EXPECT_EQ(life_.destroyed, 2);
}

// Each in a turn of its own, which throws what fails.
TEST_F(CollectionUnderChange, LetsGoOfAMemberWithinTheTurnThatReplacesOrRemovesIt) {
    std::vector<std::function<void()>> const changes{
        [&] { depot_->derivedIs(makeCrate("a")); },
        [&] { depot_->keyedIs("a", makeCrate("b")); },
        [&] { depot_->keyedIs("a", nullptr); },
        [&] { depot_->derivedDelAll(); },
    };
    for (bool const observed : {false, true}) {
        depot_->derivedIs(makeCrate("a"));
        depot_->keyedIs("a", makeCrate("a"));
        if (observed) {
            observe();
        }
        for (auto const& change : changes) {
            life_.destroyed = 0;
            life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
            EXPECT_THROW(change(), std::runtime_error);
            EXPECT_EQ(life_.destroyed, 1);
        }
    }
}

TEST_F(CollectionUnderChange, LetsGoOfAMemberThatNobodyNeedsWithinTheTurn) {
    life_.onInitialized = [&, once = false](Entity&) mutable {
        if (!std::exchange(once, true)) {
            depot_->builtIs("a");
        }
    };
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };

    EXPECT_THROW(depot_->builtIs("a"), std::runtime_error);

    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(CollectionUnderChange, TellsInTheOrderOfTheChangesThatHandlersMake) {
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a") && !depot_->number().has("b")) {
            depot_->numberIs("b", 1);
            depot_->numberDel("a");
        }
    };
    depot_->numberIs("a", 1);
    EXPECT_THAT(told(), ElementsAre("number a", "number b", "number a"));
}

TEST_F(CollectionUnderChange, MayBeChangedByHandlersWhileSomebodyWalksIt) {
    for (char const* const name : {"a", "b", "c"}) {
        depot_->numberIs(name, 1);
    }
    observe();
    observer_->act = [&](String const& key) {
        if (key == String("a")) {
            depot_->numberDel("b");
            depot_->numberIs("d", 1);
        }
    };

    std::vector<std::string> walked;
    for (auto const& member : depot_->number().map()) {
        walked.push_back(member.key.bytes());
        depot_->numberDel(member.key);
    }

    EXPECT_THAT(walked, ElementsAre("a", "c", "d"));
    EXPECT_TRUE(depot_->number().map().empty());
}

TEST_F(CollectionUnderChange, IsWholeAfterAHandlerFailed) {
    observe();
    observer_->act = [](String const&) { throw RangeError("handler failed"); };

    EXPECT_THROW(depot_->numberIs("a", 1), RangeError);
    EXPECT_EQ(depot_->number()("a"), 1);
    EXPECT_THROW(depot_->numberDel("a"), RangeError);
    EXPECT_FALSE(depot_->number().has("a"));

    observer_->act = [](String const&) {};
    depot_->numberIs("a", 2);
    EXPECT_EQ(depot_->number()("a"), 2);
}

TEST_F(CollectionUnderChange, IsSilentWhileItsOwnersNotificationIsNotActive) {
    observe();
    depot_->hasNotificationActiveIs(false);
    depot_->numberIs("a", 1);
    depot_->derivedIs(makeCrate("b"));
    depot_->derivedDelAll();
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(depot_->number()("a"), 1);
}

}  // namespace
}  // namespace Zin
