#include "Zin/Entity.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "Zin/Ptr.h"
#include "Zin/TestProbe.h"
#include "Zin/Turn.h"

namespace Zin {
namespace {

struct InitializationFailed : std::runtime_error {
    InitializationFailed() : std::runtime_error("initialization failed") {}
};

TEST(Entity, IsWholeAndNotifyingWhenItInitializes) {
    TestLife life;
    bool notifying = false;
    life.onInitialized = [&](Entity& entity) {
        notifying = entity.hasNotificationActive();
        Ptr<TestProbe> const self(&dynamic_cast<TestProbe&>(entity));
        EXPECT_EQ(self->referenceCount(), 2u);
    };

    Ptr<TestProbe> const probe = make<TestProbe>(life);

    EXPECT_TRUE(notifying);
    EXPECT_EQ(life.initialized, 1);
    EXPECT_EQ(probe->referenceCount(), 1u);
    EXPECT_FALSE(probe->retired());
}

TEST(Entity, ThatFailsToInitializeIsTornDownAndTheMakerIsTold) {
    TestLife life;
    life.onInitialized = [](Entity&) { throw InitializationFailed(); };

    EXPECT_THROW(make<TestProbe>(life), InitializationFailed);

    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, ThatFailsToInitializeAndThenBreaksAnInvariantTellsTheMakerOfThat) {
    TestLife life;
    life.onInitialized = [](Entity&) { throw InitializationFailed(); };
    life.onTeardown = [](Entity&) { throw AssertionError({"C", "whole", "f", "half made"}); };
    std::uint64_t const suppressed = Turn::suppressedFailures();

    EXPECT_THROW(make<TestProbe>(life), AssertionError);

    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
    EXPECT_EQ(Turn::suppressedFailures(), suppressed + 1);
}

TEST(Entity, ThatFailsToInitializeWithinATurnIsThereUntilTheTurnThrows) {
    TestLife life;
    life.onInitialized = [](Entity&) { throw InitializationFailed(); };
    Ptr<TestProbe> probe;

    EXPECT_THROW(
        {
            Turn const turn;
            probe = make<TestProbe>(life);
        },
        InitializationFailed);

    ASSERT_TRUE(probe);
    EXPECT_EQ(life.destroyed, 0);
}

TEST(Entity, IsTornDownBeforeItIsDestroyed) {
    TestLife life;
    int destroyedAtTeardown = -1;
    life.onTeardown = [&](Entity& entity) {
        destroyedAtTeardown = life.destroyed;
        EXPECT_TRUE(entity.retired());
    };

    make<TestProbe>(life) = nullptr;

    EXPECT_EQ(destroyedAtTeardown, 0);
    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, IsRetiredOnceOnly) {
    TestLife life;
    Ptr<TestProbe> probe = make<TestProbe>(life);

    probe->retire();
    EXPECT_TRUE(probe->retired());
    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 0);

    probe->retire();
    EXPECT_EQ(life.tornDown, 1);

    probe = nullptr;
    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, MayRetireItselfInItsTeardown) {
    TestLife life;
    life.onTeardown = [](Entity& entity) { entity.retire(); };

    make<TestProbe>(life) = nullptr;

    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, ThrowsItsTeardownsFailureToWhoRetiresIt) {
    TestLife life;
    life.onTeardown = [](Entity&) { throw std::runtime_error("teardown failed"); };
    Ptr<TestProbe> probe = make<TestProbe>(life);

    EXPECT_THROW(probe->retire(), std::runtime_error);

    EXPECT_TRUE(probe->retired());
    EXPECT_NO_THROW(probe = nullptr);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, MayPointAtItselfForAWhileInItsTeardown) {
    TestLife life;
    life.onTeardown = [](Entity& entity) { Ptr<Entity> const self(&entity); };

    make<TestProbe>(life) = nullptr;

    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, MayPointAtItselfForAWhileInItsDestructor) {
    TestLife life;
    life.onDestructor = [](Entity& entity) { Ptr<Entity> const self(&entity); };

    make<TestProbe>(life) = nullptr;
    EXPECT_EQ(life.destroyed, 1);

    Ptr<TestProbe> retired = make<TestProbe>(life);
    retired->retire();
    retired = nullptr;
    EXPECT_EQ(life.destroyed, 2);
}

TEST(Entity, ThatItsTeardownKeepsAPointerToLivesOnRetired) {
    TestLife life;
    Ptr<Entity> kept;
    life.onTeardown = [&](Entity& entity) { kept = Ptr<Entity>(&entity); };

    make<TestProbe>(life) = nullptr;

    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->referenceCount(), 1u);
    EXPECT_TRUE(kept->retired());
    EXPECT_EQ(life.destroyed, 0);

    kept = nullptr;
    EXPECT_EQ(life.tornDown, 1);
    EXPECT_EQ(life.destroyed, 1);
}

TEST(Entity, KeepsItsCountAndTwoFlagsInOneWord) {
    EXPECT_EQ(Entity::countMask, 0x5fffffffu);
    EXPECT_EQ(Entity::notificationActiveBit, 1u << 29);
    EXPECT_EQ(Entity::retiredBit, 1u << 31);

    TestLife life;
    Ptr<TestProbe> const probe = make<TestProbe>(life);
    Ptr<TestProbe> const other = probe;
    EXPECT_EQ(probe->referenceWord(), (1u << 29) | 2u);

    probe->hasNotificationActiveIs(false);
    EXPECT_EQ(probe->referenceWord(), 2u);

    probe->retire();
    EXPECT_EQ(probe->referenceWord(), (1u << 31) | 2u);

    probe->hasNotificationActiveIs(true);
    EXPECT_EQ(probe->referenceWord(), (1u << 31) | (1u << 29) | 2u);
    EXPECT_EQ(probe->referenceCount(), 2u);
    EXPECT_TRUE(probe->retired());
    EXPECT_TRUE(probe->hasNotificationActive());
}

TEST(Entity, GoesWithItsLastReferenceWhateverItsFlags) {
    for (bool const active : {false, true}) {
        for (bool const retired : {false, true}) {
            TestLife life;
            Ptr<TestProbe> probe = make<TestProbe>(life);
            probe->hasNotificationActiveIs(active);
            if (retired) {
                probe->retire();
            }
            probe = nullptr;
            EXPECT_EQ(life.tornDown, 1);
            EXPECT_EQ(life.destroyed, 1);
        }
    }
}

TEST(Entity, CountsAlikeWithThreadSafePointersOnAndOff) {
    EXPECT_FALSE(threadSafePointers());
    for (bool const on : {true, false}) {
        threadSafePointersIs(on);
        EXPECT_EQ(threadSafePointers(), on);

        TestLife life;
        Ptr<TestProbe> probe = make<TestProbe>(life);
        Ptr<TestProbe> copy = probe;
        EXPECT_EQ(probe->referenceWord(), Entity::notificationActiveBit | 2u);
        copy = nullptr;
        EXPECT_EQ(probe->referenceCount(), 1u);
        probe = nullptr;
        EXPECT_EQ(life.destroyed, 1);
    }
}

TEST(Entity, IsNumberedInTheOrderOfMaking) {
    TestLife life;
    Ptr<TestProbe> const first = make<TestProbe>(life);
    Ptr<TestProbe> const second = make<TestProbe>(life);
    EXPECT_EQ(second->serial(), first->serial() + 1);
}

}  // namespace
}  // namespace Zin
