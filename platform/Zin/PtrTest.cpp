#include "Zin/Ptr.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "Zin/LinkQueue.h"
#include "Zin/RbTreeMap.h"
#include "Zin/TestProbe.h"
#include "Zin/Turn.h"

namespace Zin {
namespace {

struct TeardownFailed : std::runtime_error {
    TeardownFailed() : std::runtime_error("teardown failed") {}
};

class Pointer : public testing::Test {
protected:
    void teardownFails() {
        life_.onTeardown = [](Entity&) { throw TeardownFailed(); };
    }
    Ptr<TestProbe> makeProbe() { return make<TestProbe>(life_); }

    TestLife life_;
};

TEST_F(Pointer, IsNullByDefault) {
    Ptr<TestProbe> const none;
    EXPECT_FALSE(none);
    EXPECT_TRUE(none == nullptr);
    EXPECT_EQ(none.get(), nullptr);
}

TEST_F(Pointer, AddsOneReferenceForEachCopyAndNoneForAMove) {
    Ptr<TestProbe> first = makeProbe();
    EXPECT_EQ(first->referenceCount(), 1u);
    {
        Ptr<TestProbe> copy = first;
        EXPECT_EQ(first->referenceCount(), 2u);
        Ptr<TestProbe> const moved = std::move(copy);
        EXPECT_EQ(first->referenceCount(), 2u);
        Ptr<Entity const> const asBase = moved;
        EXPECT_EQ(first->referenceCount(), 3u);
        EXPECT_TRUE(asBase == moved);
    }
    EXPECT_EQ(first->referenceCount(), 1u);

    Ptr<Entity> const base = std::move(first);
    EXPECT_EQ(base->referenceCount(), 1u);
    EXPECT_EQ(life_.destroyed, 0);
}

TEST_F(Pointer, DestroysTheEntityWithTheLastReference) {
    Ptr<TestProbe> probe = makeProbe();
    Ptr<TestProbe> other = probe;

    probe = nullptr;
    EXPECT_EQ(life_.destroyed, 0);

    other = nullptr;
    EXPECT_EQ(life_.tornDown, 1);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, DropsTheOldEntityWhenItIsOverwritten) {
    Ptr<TestProbe> probe = makeProbe();
    probe = makeProbe();
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(probe->referenceCount(), 1u);
}

TEST_F(Pointer, SurvivesAssignmentToItself) {
    Ptr<TestProbe> probe = makeProbe();
    Ptr<TestProbe> const& same = probe;
    probe = same;
    EXPECT_EQ(life_.destroyed, 0);
    EXPECT_EQ(probe->referenceCount(), 1u);
}

TEST_F(Pointer, IsAlreadyNullWhileTheEntityThatItLeavesIsTornDown) {
    Ptr<TestProbe> probe = makeProbe();
    bool wasNull = false;
    life_.onTeardown = [&](Entity&) { wasNull = probe == nullptr; };

    probe = nullptr;

    EXPECT_TRUE(wasNull);
}

TEST_F(Pointer, GivesItsReferenceAwayAndTakesItBack) {
    TestProbe* const released = makeProbe().release();
    EXPECT_EQ(released->referenceCount(), 1u);

    auto const adopted = Ptr<TestProbe>::adopt(released);
    EXPECT_EQ(adopted->referenceCount(), 1u);
}

TEST_F(Pointer, PrintsTheEntitysSerialNumber) {
    Ptr<TestProbe> const probe = makeProbe();
    EXPECT_EQ(fmt::format("{}", probe), fmt::format("entity#{}", probe->serial()));
    EXPECT_EQ(fmt::format("{}", Ptr<TestProbe>()), "null");
}

TEST_F(Pointer, ThrowsFromAnAssignmentWhatTheTeardownThrows) {
    teardownFails();
    Ptr<TestProbe> probe = makeProbe();

    EXPECT_THROW(probe = nullptr, TeardownFailed);

    EXPECT_TRUE(probe == nullptr);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, ThrowsFromTheEndOfItsScopeWhatTheTeardownThrows) {
    teardownFails();
    bool endReached = false;

    EXPECT_THROW(
        {
            Ptr<TestProbe> const probe = makeProbe();
            endReached = true;
        },
        TeardownFailed);

    EXPECT_TRUE(endReached);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, ThrowsFromADiscardedTemporaryWhatTheTeardownThrows) {
    teardownFails();
    EXPECT_THROW(makeProbe(), TeardownFailed);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, ThrowsFromTheDestructorOfWhatHoldsItWhatTheTeardownThrows) {
    teardownFails();
    struct Holder {
        Ptr<TestProbe> a, b;
    };
    std::uint64_t const suppressed = Turn::suppressedFailures();

    auto const holdAndLetGo = [this] { Holder const holder{makeProbe(), makeProbe()}; };
    EXPECT_THROW(holdAndLetGo(), TeardownFailed);

    EXPECT_EQ(life_.destroyed, 2);
    EXPECT_EQ(Turn::suppressedFailures(), suppressed + 1);
}

TEST_F(Pointer, ThrowsFromTheClearingOfAContainerOnceAllMembersAreGone) {
    teardownFails();
    RbTreeMap<int, Ptr<TestProbe>> map;
    LinkQueue<Ptr<TestProbe>> queue;
    for (int key = 0; key < 3; ++key) {
        map.emplace(key, makeProbe());
        queue.enq(makeProbe());
    }

    EXPECT_THROW(map.clear(), TeardownFailed);
    EXPECT_EQ(life_.destroyed, 3);
    EXPECT_TRUE(map.empty());

    EXPECT_THROW(queue.clear(), TeardownFailed);
    EXPECT_EQ(life_.destroyed, 6);
    EXPECT_TRUE(queue.empty());
}

TEST_F(Pointer, ThrowsAtTheEndOfTheTurnInWhichAContainerOfTheStandardLibraryIsCleared) {
    teardownFails();
    std::vector<Ptr<TestProbe>> pointers{makeProbe(), makeProbe()};
    bool cleared = false;

    EXPECT_THROW(
        {
            Turn const turn;
            pointers.clear();
            cleared = true;
        },
        TeardownFailed);

    EXPECT_TRUE(cleared);
    EXPECT_EQ(life_.destroyed, 2);
}

TEST_F(Pointer, DropsAndCountsTheFailureOfATeardownWhileAnExceptionIsOnItsWay) {
    teardownFails();
    std::uint64_t const suppressed = Turn::suppressedFailures();

    EXPECT_THROW(
        {
            Ptr<TestProbe> const probe = makeProbe();
            throw std::logic_error("on its way");
        },
        std::logic_error);

    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(Turn::suppressedFailures(), suppressed + 1);
}

TEST_F(Pointer, ThrowsTheFailureOfATeardownThatAnotherTeardownSetsOff) {
    TestLife innerLife;
    innerLife.onTeardown = [](Entity&) { throw TeardownFailed(); };
    Ptr<TestProbe> inner = make<TestProbe>(innerLife);
    Ptr<TestProbe> outer = makeProbe();
    bool wentOn = false;
    life_.onTeardown = [&](Entity&) {
        inner = nullptr;
        wentOn = true;
    };

    EXPECT_THROW(outer = nullptr, TeardownFailed);

    EXPECT_TRUE(wentOn);
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(innerLife.destroyed, 1);
}

}  // namespace
}  // namespace Zin
