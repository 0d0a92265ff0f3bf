#include "router/repair/VrfHealth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Velk/TaskScheduler.h"
#include "Zin/Format.h"

namespace Routing {
namespace {

using testing::ElementsAre;

// A VRF that is rebuilt in `took` seconds, as soon as that is due.
struct Fixture {
    // Returns how long the rebuild waited. Nothing fails twice in the same way.
    Zin::Seconds fail(Zin::Seconds now) {
        health.failed(fmt::format("failure {}", ++failures), now);
        Zin::Seconds const due = health.due();
        health.rebuilt(due + took, took, std::nullopt);
        return due - now;
    }
    // Fails as soon as each rebuild is over.
    std::vector<Zin::Seconds> failAgainAndAgain(int times) {
        std::vector<Zin::Seconds> waits;
        Zin::Seconds now = 1000.0;
        for (int time = 0; time < times; ++time) {
            waits.push_back(fail(now));
            now += waits.back() + took;
        }
        return waits;
    }

    VrfHealth health{};
    Zin::Seconds took = 0.0;
    int failures = 0;
};

TEST(VrfHealth, AVrfIsWholeUntilAnInvariantFailsAndAgainWhenItHasBeenRebuilt) {
    VrfHealth health;
    EXPECT_FALSE(health.degraded());
    EXPECT_EQ(health.due(), Velk::never);

    health.failed("a failure", 100.0);
    EXPECT_TRUE(health.degraded());
    EXPECT_EQ(health.why(), "a failure");

    health.rebuilt(100.0, 0.0, std::nullopt);
    EXPECT_FALSE(health.degraded());
    EXPECT_EQ(health.due(), Velk::never);
}

TEST(VrfHealth, TheFirstRebuildIsDueAtOnce) {
    VrfHealth health;
    health.failed("a failure", 100.0);
    EXPECT_EQ(health.due(), 100.0);
}

TEST(VrfHealth, NothingMoreIsOwedWhereARebuildIsOwedAlready) {
    VrfHealth health;
    health.failed("a failure", 100.0);
    health.failed("another failure", 101.0);
    EXPECT_EQ(health.due(), 100.0);
    EXPECT_EQ(health.why(), "a failure");

    health.rebuilt(101.0, 0.0, std::nullopt);
    health.failed("another failure", 102.0);
    EXPECT_EQ(health.due(), 103.0);  // as after the first failure, not the second
}

TEST(VrfHealth, FurtherRebuildsWaitTwiceAsLongEachTimeButNoLongerThanTenSeconds) {
    Fixture fixture;
    EXPECT_THAT(fixture.failAgainAndAgain(8),
                ElementsAre(0.0, 1.0, 2.0, 4.0, 8.0, 10.0, 10.0, 10.0));
}

TEST(VrfHealth, RebuildsThatTakeLongMayWaitTwentyTimesAsLong) {
    Fixture fixture;
    fixture.took = 1.25;
    EXPECT_THAT(fixture.failAgainAndAgain(8),
                ElementsAre(0.0, 1.0, 2.0, 4.0, 8.0, 16.0, 25.0, 25.0));

    fixture.took = 0.25;  // the last one took longer
    EXPECT_EQ(fixture.fail(1100.0), 25.0);
    EXPECT_EQ(fixture.fail(1126.0), 10.0);
}

TEST(VrfHealth, AfterAMinuteWithoutFailuresTheNextRebuildIsDueAtOnce) {
    Fixture fixture;
    EXPECT_EQ(fixture.fail(100.0), 0.0);
    EXPECT_EQ(fixture.fail(159.75), 1.0);
    EXPECT_EQ(fixture.fail(219.5), 2.0);
    EXPECT_EQ(fixture.fail(279.5), 0.0);
    EXPECT_EQ(fixture.fail(280.0), 1.0);
}

TEST(VrfHealth, TheSameFailureAgainIsHopelessWhereNothingHasChanged) {
    VrfHealth health;
    health.failed("a failure", 100.0);
    health.rebuilt(100.0, 0.0, std::nullopt);
    health.failed("a failure", 100.5);
    EXPECT_TRUE(health.degraded());
    EXPECT_EQ(health.due(), 400.5);

    // Nor does a whole day change anything.
    health.rebuilt(400.5, 0.0, std::nullopt);
    health.failed("a failure", 90000.0);
    EXPECT_EQ(health.due(), 90300.0);
}

TEST(VrfHealth, TheSameFailureIsNotHopelessWhereAnInputHasChanged) {
    VrfHealth health;
    health.failed("a failure", 100.0);
    health.rebuilt(100.0, 0.0, std::nullopt);
    health.inputChanges(100.25);
    health.failed("a failure", 100.5);
    EXPECT_EQ(health.due(), 101.5);

    // That was before the failure, so it changes nothing about the next one.
    health.rebuilt(101.5, 0.0, std::nullopt);
    health.failed("a failure", 102.0);
    EXPECT_EQ(health.due(), 402.0);
}

TEST(VrfHealth, AnotherFailureIsNotHopeless) {
    VrfHealth health;
    for (char const* why : {"a failure", "another failure", "a failure"}) {
        health.failed(why, 100.0);
        EXPECT_LE(health.due(), 102.0) << why;
        EXPECT_EQ(health.why(), why);
        health.rebuilt(100.0, 0.0, std::nullopt);
    }
}

// The same failure has come again at 100.5 s, so that the rebuild is to wait for 1 s at least.
VrfHealth hopeless() {
    VrfHealth health;
    health.failed("a failure", 100.0);
    health.rebuilt(100.0, 0.0, std::nullopt);
    health.failed("a failure", 100.5);
    return health;
}

TEST(VrfHealth, WhatIsHopelessIsTriedWhenAnInputChanges) {
    VrfHealth health = hopeless();
    health.inputChanges(150.0);
    EXPECT_EQ(health.due(), 150.0);

    health.inputChanges(151.0);
    EXPECT_EQ(health.due(), 150.0);
}

TEST(VrfHealth, AnInputThatChangesMakesNoRebuildWaitForLessThanItsTime) {
    VrfHealth health = hopeless();
    health.inputChanges(101.0);
    EXPECT_EQ(health.due(), 101.5);

    Fixture other;
    other.fail(100.0);
    other.health.failed("a failure", 100.5);
    other.health.inputChanges(100.75);
    EXPECT_EQ(other.health.due(), 101.5);
    other.health.inputChanges(102.0);
    EXPECT_EQ(other.health.due(), 101.5);
}

TEST(VrfHealth, AnInputThatChangesOwesNothing) {
    VrfHealth health;
    health.inputChanges(100.0);
    health.restarted(100.0);
    EXPECT_FALSE(health.degraded());
    EXPECT_EQ(health.due(), Velk::never);
}

TEST(VrfHealth, ARebuildThatFailedAsWellIsHopeless) {
    VrfHealth health;
    health.failed("a failure", 100.0);
    health.inputChanges(100.0);
    health.rebuilt(100.5, 0.5, "the rebuild's failure");
    EXPECT_TRUE(health.degraded());
    EXPECT_EQ(health.why(), "the rebuild's failure");
    EXPECT_EQ(health.due(), 400.5);

    health.inputChanges(100.75);
    EXPECT_EQ(health.due(), 101.5);
}

TEST(VrfHealth, ARebuildThatNoFailureAskedForOwesAnotherWhereItFails) {
    VrfHealth health;
    health.rebuilt(100.0, 0.5, "the rebuild's failure");
    EXPECT_EQ(health.due(), 400.0);

    health.inputChanges(101.0);
    EXPECT_EQ(health.due(), 101.0);
}

TEST(VrfHealth, AfterARestartWhatIsOwedIsDueNow) {
    VrfHealth health = hopeless();
    health.restarted(100.75);
    EXPECT_EQ(health.due(), 100.75);
    EXPECT_TRUE(health.degraded());
}

TEST(VrfHealth, WhatIsForgivenIsNotOwedAnyMore) {
    VrfHealth health = hopeless();
    health.forgiven();
    EXPECT_FALSE(health.degraded());
    EXPECT_EQ(health.due(), Velk::never);

    health.failed("another failure", 101.0);
    EXPECT_EQ(health.due(), 103.0);  // its failures have not been forgotten
}

TEST(VrfHealth, ARebuildThatNoFailureAsksForRestsTwentyTimesAsLongAsTheLastOneTook) {
    VrfHealth health;
    EXPECT_EQ(health.restedFrom(), 0.0);
    health.rebuilt(100.0, 0.5, std::nullopt);
    EXPECT_EQ(health.restedFrom(), 110.0);
    health.rebuilt(120.0, 0.25, "the rebuild's failure");
    EXPECT_EQ(health.restedFrom(), 125.0);
}

}  // namespace
}  // namespace Routing
