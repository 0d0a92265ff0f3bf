#include "Zin/Notifiee.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Zin/TestLamp.h"

namespace Zin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A lamp and its watchers by name. Each writes down its name when it is told, and then does what
// the test wants of it.
class Notification : public testing::Test {
protected:
    void watch(
        std::string const& name, std::function<void()> act = [] {}) {
        watchers_[name] = std::make_unique<TestWatcher>(lamp_, [this, name, act] {
            told_.push_back(name);
            act();
        });
    }
    void destroy(std::string const& name) { watchers_.erase(name); }

    // Whom a change of the lamp's level is told to, in this order.
    std::vector<std::string> change() {
        told_.clear();
        lamp_->levelIs(lamp_->level() + 1);
        return told_;
    }

    TestLife life_;
    Ptr<TestLamp> lamp_ = make<TestLamp>(life_);
    std::vector<std::string> told_;
    std::map<std::string, std::unique_ptr<TestWatcher>> watchers_;
};

TEST_F(Notification, VisitsAllNotifieesOnceInTheOrderOfRegistration) {
    watch("b");
    watch("a");
    watch("c");
    EXPECT_THAT(change(), ElementsAre("b", "a", "c"));
}

TEST_F(Notification, IsVisibleInTheListThatTellsWhetherSomebodyObserves) {
    EXPECT_TRUE(lamp_->notifieeList().empty());
    watch("a");
    EXPECT_FALSE(lamp_->notifieeList().empty());
    destroy("a");
    EXPECT_TRUE(lamp_->notifieeList().empty());
}

TEST_F(Notification, DoesNotReachANotifieeThatIsAddedMeanwhile) {
    watch("a", [&] {
        if (!watchers_.contains("new")) {
            watch("new");
        }
    });
    watch("b");

    EXPECT_THAT(change(), ElementsAre("a", "b"));
    EXPECT_THAT(change(), ElementsAre("a", "b", "new"));
}

TEST_F(Notification, DoesNotReachANotifieeThatTheLastOneAdds) {
    watch("a", [&] { watch("new"); });
    EXPECT_THAT(change(), ElementsAre("a"));
}

TEST_F(Notification, GoesOnAfterANotifieeThatDestroysItself) {
    watch("a");
    watch("b", [&] { destroy("b"); });
    watch("c");

    EXPECT_THAT(change(), ElementsAre("a", "b", "c"));
    EXPECT_THAT(change(), ElementsAre("a", "c"));
}

TEST_F(Notification, SkipsTheNextNotifieeIfItIsDestroyedMeanwhile) {
    watch("a", [&] { destroy("b"); });
    watch("b");
    watch("c");
    EXPECT_THAT(change(), ElementsAre("a", "c"));
}

TEST_F(Notification, SkipsTheLastNotifieeIfItIsDestroyedMeanwhile) {
    watch("a");
    watch("b", [&] { destroy("c"); });
    watch("c");
    EXPECT_THAT(change(), ElementsAre("a", "b"));
}

TEST_F(Notification, IsNotDisturbedByTheDestructionOfOneAlreadyTold) {
    watch("a");
    watch("b", [&] { destroy("a"); });
    watch("c");
    EXPECT_THAT(change(), ElementsAre("a", "b", "c"));
}

TEST_F(Notification, EndsWhereAllNotifieesAreDestroyedMeanwhile) {
    watch("a");
    watch("b", [&] { watchers_.clear(); });
    watch("c");

    EXPECT_THAT(change(), ElementsAre("a", "b"));
    EXPECT_TRUE(lamp_->notifieeList().empty());
    EXPECT_THAT(change(), IsEmpty());
}

TEST_F(Notification, SkipsANotifieeThatStopsWatchingMeanwhile) {
    watch("a", [&] { watchers_["b"]->notifierIs(nullptr); });
    watch("b");
    watch("c");

    EXPECT_THAT(change(), ElementsAre("a", "c"));
    EXPECT_TRUE(watchers_["b"]->notifier() == nullptr);
}

TEST_F(Notification, TellsANotifieeThatRegistersAnewMeanwhileAtMostOnce) {
    watch("a", [&] { watchers_["a"]->notifierIs(lamp_); });
    watch("b", [&] { watchers_["c"]->notifierIs(lamp_); });
    watch("c");

    // It has then registered later than the change was made.
    EXPECT_THAT(change(), ElementsAre("a", "b"));
    EXPECT_THAT(change(), ElementsAre("b", "a"));
}

TEST_F(Notification, FollowsANotifieeToAnotherEntity) {
    watch("a");
    Ptr<TestLamp> const other = make<TestLamp>(life_);

    watchers_["a"]->notifierIs(other);

    EXPECT_THAT(change(), IsEmpty());
    other->levelIs(7);
    EXPECT_THAT(told_, ElementsAre("a"));
}

TEST_F(Notification, TellsAHandlersOwnChangeInFullBeforeTheHandlerGoesOn) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            lamp_->levelIs(2);
            told_.push_back("a goes on");
        }
    });
    watch("b");

    EXPECT_THAT(change(), ElementsAre("a", "a", "b", "a goes on", "b"));
}

TEST_F(Notification, SurvivesTheDestructionOfNotifieesInANestedDelivery) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            lamp_->levelIs(2);
        }
    });
    watch("b", [&] {
        destroy("a");  // which is in the middle of its handler
        destroy("c");  // next of the inner delivery
        destroy("b");  // current of the inner, next of the outer delivery
    });
    watch("c");
    watch("d");

    EXPECT_THAT(change(), ElementsAre("a", "a", "b", "d", "d"));
}

TEST_F(Notification, SkipsANotifieeThatIsDestroyedAfterANestedDelivery) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            lamp_->levelIs(2);
            destroy("b");
        }
    });
    watch("b");
    watch("c");

    EXPECT_THAT(change(), ElementsAre("a", "a", "b", "c", "c"));
}

TEST_F(Notification, OfEachChangeReachesThoseWhoWereThereWhenItWasMade) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            watch("new");
            lamp_->levelIs(2);
            told_.push_back("a goes on");
        }
    });

    // The new one hears of the change that was made after its coming, and of no other.
    EXPECT_THAT(change(), ElementsAre("a", "a", "new", "a goes on"));
}

TEST_F(Notification, KeepsTheEntityAliveUntilItsVisitEnds) {
    watch("a", [&] {
        TestLamp const* const lamp = lamp_.get();
        lamp_ = nullptr;
        watchers_.clear();
        EXPECT_EQ(life_.destroyed, 0);
        EXPECT_EQ(lamp->level(), 1);
    });
    watch("b");

    lamp_->levelIs(1);

    EXPECT_THAT(told_, ElementsAre("a"));
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Notification, KeepsTheEntityAliveForItsNotifiees) {
    watch("a");
    lamp_ = nullptr;
    EXPECT_EQ(life_.destroyed, 0);

    destroy("a");
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Notification, ThrowsTheFailureOfAnEntitysTeardownOnceTheVisitHasEnded) {
    life_.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    watch("a", [&] {
        lamp_ = nullptr;
        watchers_.clear();
    });

    EXPECT_THROW(lamp_->levelIs(1), std::runtime_error);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Notification, IsWithheldWhileTheEntitysIsNotActive) {
    watch("a");

    lamp_->hasNotificationActiveIs(false);
    EXPECT_THAT(change(), IsEmpty());
    EXPECT_EQ(lamp_->level(), 1);

    lamp_->hasNotificationActiveIs(true);
    EXPECT_THAT(change(), ElementsAre("a"));
}

TEST_F(Notification, IsWithheldFromANotifieeWhoseIsNotActive) {
    watch("a");
    watch("b");

    watchers_["a"]->hasNotificationActiveIs(false);
    EXPECT_THAT(change(), ElementsAre("b"));

    watchers_["a"]->hasNotificationActiveIs(true);
    EXPECT_THAT(change(), ElementsAre("a", "b"));
}

TEST_F(Notification, IsWithheldFromANotifieeThatIsMutedMeanwhile) {
    watch("a", [&] { watchers_["b"]->hasNotificationActiveIs(false); });
    watch("b");
    EXPECT_THAT(change(), ElementsAre("a"));
}

TEST_F(Notification, ReachesTheOthersWhereOneFailsAndThenTheCallerIsTold) {
    watch("a");
    watch("b", [] { throw std::runtime_error("b failed"); });
    watch("c", [] { throw std::runtime_error("c failed"); });
    watch("d");

    try {
        change();
        FAIL() << "nobody was told of the failure";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "b failed");
    }

    EXPECT_THAT(told_, ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(lamp_->level(), 1);
}

TEST_F(Notification, OfANestedChangeThrowsOnlyToTheOutermostCaller) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            lamp_->levelIs(2);
            told_.push_back("a goes on");
        }
    });
    watch("b", [&] {
        if (lamp_->level() == 2) {
            throw std::runtime_error("b failed");
        }
    });

    EXPECT_THROW(change(), std::runtime_error);

    EXPECT_THAT(told_, ElementsAre("a", "a", "b", "a goes on", "b"));
}

TEST_F(Notification, LeavesEverythingInOrderAfterAFailure) {
    watch("a", [&] {
        if (lamp_->level() == 1) {
            destroy("b");
            lamp_->levelIs(2);
            throw std::runtime_error("a failed");
        }
    });
    watch("b");
    watch("c");
    EXPECT_THROW(change(), std::runtime_error);

    watch("b");
    EXPECT_THAT(change(), ElementsAre("a", "c", "b"));
    destroy("a");
    EXPECT_THAT(change(), ElementsAre("c", "b"));
    EXPECT_FALSE(Turn::inProgress());
}

TEST_F(Notification, ThatFailsInATeardownReachesWhoseTurnDroppedTheLastPointer) {
    watch("a", [] { throw std::runtime_error("a failed"); });
    TestLife machineLife;
    machineLife.onTeardown = [&](Entity&) { lamp_->levelIs(9); };
    Ptr<TestProbe> machine = make<TestProbe>(machineLife);

    EXPECT_THROW(
        {
            Turn const turn;
            machine = nullptr;
        },
        std::runtime_error);

    EXPECT_EQ(machineLife.destroyed, 1);
    EXPECT_THAT(told_, ElementsAre("a"));
}

TEST_F(Notification, ThatFailsInADestructorReachesWhoseTurnDroppedTheLastPointer) {
    watch("a", [] { throw std::runtime_error("a failed"); });
    TestLife machineLife;
    machineLife.onDestructor = [&](Entity&) { lamp_->levelIs(9); };
    Ptr<TestProbe> machine = make<TestProbe>(machineLife);

    EXPECT_THROW(
        {
            Turn const turn;
            machine = nullptr;
        },
        std::runtime_error);

    EXPECT_EQ(machineLife.destroyed, 1);
    EXPECT_THAT(told_, ElementsAre("a"));
}

TEST_F(Notification, ThatFailsWhileAnExceptionIsOnItsWayIsCounted) {
    watch("a", [] { throw std::runtime_error("a failed"); });
    TestLife machineLife;
    machineLife.onTeardown = [&](Entity&) { lamp_->levelIs(9); };
    std::uint64_t const suppressed = Turn::suppressedFailures();

    EXPECT_THROW(
        {
            Ptr<TestProbe> const machine = make<TestProbe>(machineLife);
            throw std::logic_error("on its way");
        },
        std::logic_error);

    EXPECT_EQ(Turn::suppressedFailures(), suppressed + 1);
    EXPECT_EQ(machineLife.destroyed, 1);
}

}  // namespace
}  // namespace Zin
