#include "Zin/Ptr.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "Zin/Format.h"
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

TEST_F(Pointer, ThatGoesWithinATurnLeavesItsFailureToTheTurnsEnd) {
    teardownFails();
    Ptr<TestProbe> probe = makeProbe();
    bool wentOn = false;

    EXPECT_THROW(
        {
            Turn const turn;
            probe = nullptr;
            wentOn = true;
        },
        TeardownFailed);

    EXPECT_TRUE(wentOn);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, EndsTheProcessWhereATeardownFailsAndNobodyCanBeTold) {
    teardownFails();
    Ptr<TestProbe> probe = makeProbe();
    auto const letGo = [this] { Ptr<TestProbe> const local = makeProbe(); };

    EXPECT_DEATH(probe = nullptr, "assertion 'can throw' failed: teardown failed");
    EXPECT_DEATH(letGo(), "assertion 'can throw' failed: teardown failed");
    EXPECT_DEATH(makeProbe(), "assertion 'can throw' failed: teardown failed");
    life_.onTeardown = [](Entity&) {};
}

TEST_F(Pointer, TellsTheAssertionHandlerBeforeItEndsTheProcess) {
    teardownFails();
    Ptr<TestProbe> probe = makeProbe();
    auto const letGo = [&](AssertionHandler handler) {
        assertionHandlerIs(handler);
        probe = nullptr;
    };

    EXPECT_DEATH(letGo([](AssertionFailure const& failure) {
                     std::fprintf(stderr, "told of: %s\n", std::string(failure.message).c_str());
                 }),
                 "told of: teardown failed");
    // A handler that throws has nobody to throw to.
    EXPECT_DEATH(letGo([](AssertionFailure const& failure) { throw AssertionError(failure); }),
                 "teardown failed");
    life_.onTeardown = [](Entity&) {};
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

    EXPECT_THROW(
        {
            Turn const turn;
            outer = nullptr;
        },
        TeardownFailed);

    EXPECT_TRUE(wentOn);
    EXPECT_EQ(life_.destroyed, 1);
    EXPECT_EQ(innerLife.destroyed, 1);
}

TEST_F(Pointer, CountsTheErrorAndEndsTheProcessAtTheFailedInvariantOfATeardownOnTheWay) {
    auto const failOnTheWay = [this] {
        Ptr<TestProbe> const probe = makeProbe();
        throw std::logic_error("on its way");
    };
    life_.onTeardown = [](Entity&) { throw AssertionError({"C", "c", "f", "broken"}); };

    EXPECT_DEATH(
        try { failOnTheWay(); } catch (std::logic_error const&){}, "broken");
}

// What holds a pointer is a class like any other.
struct Service {
    virtual ~Service() = default;
};
struct Listener {
    virtual ~Listener() = default;
};
struct Agent : Service, Listener {
    Ptr<TestProbe> probe;
};
static_assert(std::is_nothrow_destructible_v<Agent>);
static_assert(std::is_nothrow_move_assignable_v<Ptr<TestProbe>>);

TEST_F(Pointer, IsAMemberOfClassesWithBases) {
    auto agent = std::make_unique<Agent>();
    agent->probe = makeProbe();
    std::unique_ptr<Service> service = std::move(agent);
    EXPECT_EQ(life_.destroyed, 0);
    service = nullptr;
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, IsTheResultOfAnAsynchronousCall) {
    std::future<Ptr<TestProbe>> made =
        std::async(std::launch::async, [this] { return makeProbe(); });
    EXPECT_EQ(made.get()->referenceCount(), 1u);
    EXPECT_EQ(life_.destroyed, 1);
}

TEST_F(Pointer, LivesInAVectorThatGrowsShrinksAndGoes) {
    {
        std::vector<Ptr<TestProbe>> probes;
        for (int i = 0; i < 100; ++i) {
            probes.push_back(makeProbe());
        }
        EXPECT_EQ(probes.front()->referenceCount(), 1u);
        probes.erase(probes.begin(), probes.begin() + 40);
        probes.shrink_to_fit();
        EXPECT_EQ(life_.destroyed, 40);
    }
    EXPECT_EQ(life_.destroyed, 100);
}

class FixtureWithAPointer : public testing::Test {
protected:
    TestLife life_;
    Ptr<TestProbe> probe_ = make<TestProbe>(life_);
};

TEST_F(FixtureWithAPointer, NeedsNoDestructorOfItsOwn) { EXPECT_EQ(probe_->referenceCount(), 1u); }

#ifndef NDEBUG
TEST_F(Pointer, ThatIsNullNamesTheTypeThatItWasFollowedTo) {
    Ptr<TestProbe const> const none;
    EXPECT_DEATH(none->referenceCount(),
                 "assertion 'entity_' failed: there is no (const )?Zin::TestProbe( const)? to");
    EXPECT_DEATH((*none).referenceCount(), "there is no (const )?Zin::TestProbe");
}
#endif

}  // namespace
}  // namespace Zin
