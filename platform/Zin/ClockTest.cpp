#include "Zin/Clock.h"

#include <gtest/gtest.h>

#include "Zin/Ptr.h"
#include "Zin/Turn.h"

namespace Zin {
namespace {

void waitForTheSystemToMoveOn() {
    Seconds const start = steadyReading();
    while (steadyReading() == start) {
    }
}

TEST(SteadyClock, MovesOnBetweenTurns) {
    Ptr<SteadyClock> const clock = make<SteadyClock>();
    Seconds const first = clock->now();
    waitForTheSystemToMoveOn();
    EXPECT_GT(clock->now(), first);
}

TEST(SteadyClock, StandsStillWithinATurnAndMovesOnWithTheNext) {
    Ptr<SteadyClock> const clock = make<SteadyClock>();
    Seconds const before = clock->now();
    Seconds inFirst = 0.0;
    {
        Turn const turn;
        inFirst = clock->now();
        waitForTheSystemToMoveOn();
        EXPECT_EQ(clock->now(), inFirst);
        Turn const inner;
        EXPECT_EQ(clock->now(), inFirst);
    }
    EXPECT_GE(inFirst, before);

    waitForTheSystemToMoveOn();
    {
        Turn const turn;
        EXPECT_GT(clock->now(), inFirst);
    }
    EXPECT_GT(clock->now(), inFirst);
}

TEST(VirtualClock, StandsWhereItsOwnerPutsIt) {
    Ptr<VirtualClock> const clock = make<VirtualClock>();
    EXPECT_EQ(clock->now(), 0.0);
    clock->nowIs(1.5);
    EXPECT_EQ(clock->now(), 1.5);
}

TEST(VirtualClock, NeverGoesBack) {
    Ptr<VirtualClock> const clock = make<VirtualClock>();
    clock->nowIs(2.0);
    clock->nowIs(1.0);
    EXPECT_EQ(clock->now(), 2.0);
}

}  // namespace
}  // namespace Zin
