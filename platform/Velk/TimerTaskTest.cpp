#include "Velk/TimerTask.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Velk/TestTasks.h"

namespace Velk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Zin::Seconds infinity = std::numeric_limits<Zin::Seconds>::infinity();

class TimerTasks : public TestTasks {};

TEST_F(TimerTasks, KnowTheirSchedulerNameAndPriority) {
    add("a");
    EXPECT_EQ(task("a").taskName(), "a");
    EXPECT_TRUE(task("a").taskScheduler() == scheduler_);
    EXPECT_EQ(task("a").taskPriority(), TaskPriority::normal);
    task("a").taskPriorityIs(TaskPriority::low);
    EXPECT_EQ(task("a").taskPriority(), TaskPriority::low);
    EXPECT_FALSE(task("a").taskScheduled());
}

TEST_F(TimerTasks, RunOnceTheirDelayAfterTheyWereArmed) {
    clock_->nowIs(10.0);
    add("a");
    task("a").scheduleTaskDelay(1.5);
    EXPECT_TRUE(task("a").taskScheduled());
    EXPECT_EQ(task("a").currentExpirationTime(), 11.5);

    EXPECT_THAT(runAt(std::nextafter(11.5, 0.0)), IsEmpty());
    EXPECT_THAT(runAt(11.5), ElementsAre("a"));

    EXPECT_FALSE(task("a").taskScheduled());
    EXPECT_THAT(runAt(100.0), IsEmpty());
}

TEST_F(TimerTasks, ForgetWhatTheyWereArmedForWhenTheyAreArmedWithADelay) {
    add("a");
    task("a").scheduleTaskDelay(1.0);
    task("a").scheduleTaskDelay(5.0);
    EXPECT_THAT(runAt(4.0), IsEmpty());
    task("a").scheduleTaskDelay(0.5);
    EXPECT_THAT(runAt(4.5), ElementsAre("a"));
    EXPECT_THAT(runAt(5.0), IsEmpty());
}

TEST_F(TimerTasks, KeepTheSoonerExpiryWhenTheyAreArmedWithALowestDelay) {
    add("a");
    task("a").scheduleTaskLowestDelay(3.0);
    EXPECT_EQ(task("a").currentExpirationTime(), 3.0);
    task("a").scheduleTaskLowestDelay(4.0);
    EXPECT_EQ(task("a").currentExpirationTime(), 3.0);
    task("a").scheduleTaskLowestDelay(2.0);
    EXPECT_EQ(task("a").currentExpirationTime(), 2.0);
    EXPECT_THAT(runAt(2.0), ElementsAre("a"));

    // The expiry of a task that has run says nothing any more.
    task("a").scheduleTaskLowestDelay(4.0);
    EXPECT_EQ(task("a").currentExpirationTime(), 6.0);
}

TEST_F(TimerTasks, KeepTheirTurnWhenTheyAreArmedWithALowestDelayForTheSameTime) {
    add("a");
    add("b");
    task("a").scheduleTaskDelay(1.0);
    task("b").scheduleTaskDelay(1.0);
    task("a").scheduleTaskLowestDelay(1.0);
    EXPECT_THAT(runAt(1.0), ElementsAre("a", "b"));
}

TEST_F(TimerTasks, AreDueNowWithADelayOfZeroOrLess) {
    clock_->nowIs(5.0);
    add("a");
    for (Zin::Seconds const delay : {0.0, -0.0, -1.0, -infinity, std::nan("")}) {
        task("a").scheduleTaskDelay(delay);
        EXPECT_EQ(task("a").currentExpirationTime(), 5.0) << delay;
    }
    task("a").scheduleTask();
    EXPECT_EQ(task("a").currentExpirationTime(), 5.0);
    EXPECT_THAT(runAt(5.0), ElementsAre("a"));
}

TEST_F(TimerTasks, ExpireLaterThanNowHoweverSmallTheirDelay) {
    clock_->nowIs(1e6);
    add("a");
    for (Zin::Seconds const delay :
         {std::numeric_limits<Zin::Seconds>::denorm_min(), 1e-300, 1e-12}) {
        task("a").scheduleTaskDelay(delay);
        EXPECT_EQ(task("a").currentExpirationTime(), std::nextafter(1e6, infinity)) << delay;
    }
    EXPECT_THAT(runAt(1e6), IsEmpty());
    EXPECT_THAT(runAt(std::nextafter(1e6, infinity)), ElementsAre("a"));
}

TEST_F(TimerTasks, DoNotSpinOnARemainderThatDoesNotMoveTheClock) {
    clock_->nowIs(1e9);
    add("a", [&] { task("a").scheduleTaskDelay(1e-9); });
    task("a").scheduleTask();
    EXPECT_THAT(runAt(1e9), ElementsAre("a"));
    EXPECT_THAT(runAt(1e9), IsEmpty());
    EXPECT_GT(scheduler_->nextExpiry(), 1e9);
}

TEST_F(TimerTasks, NeverRunWithAnEndlessDelay) {
    add("a");
    task("a").scheduleTaskDelay(infinity);
    EXPECT_THAT(runAt(1e300), IsEmpty());
    EXPECT_TRUE(task("a").taskScheduled());
}

TEST_F(TimerTasks, AreRunningOnlyWithinTheirOwnRun) {
    add("b");
    add("a", [&] {
        EXPECT_TRUE(task("a").taskCurrentlyRunning());
        EXPECT_FALSE(task("a").taskScheduled());
        EXPECT_FALSE(task("b").taskCurrentlyRunning());
    });
    task("a").scheduleTask();
    EXPECT_FALSE(task("a").taskCurrentlyRunning());
    EXPECT_THAT(runAt(0.0), ElementsAre("a"));
    EXPECT_FALSE(task("a").taskCurrentlyRunning());
}

TEST_F(TimerTasks, AreAskedToYieldByTheSchedulersPolicyWhileTheyRun) {
    std::vector<bool> answers;
    add("b");
    add("a", [&] {
        for (int i = 0; i < 2; ++i) {
            answers.push_back(task("a").taskShouldYield());
            answers.push_back(task("b").taskShouldYield());  // does not count: it is not running
        }
    });
    EXPECT_FALSE(task("a").taskShouldYield());

    for (int run = 0; run < 2; ++run) {
        answers.clear();
        task("a").scheduleTask();
        runAt(0.0);
        EXPECT_THAT(answers, ElementsAre(false, false, true, false));
    }
}

TEST_F(TimerTasks, MayBeArmedAnewInTheirRun) {
    add("a", [&] {
        if (clock_->now() < 3.0) {
            task("a").scheduleTaskDelay(1.0);
        }
    });
    task("a").scheduleTaskDelay(1.0);
    EXPECT_THAT(runAt(1.0), ElementsAre("a"));
    EXPECT_EQ(task("a").currentExpirationTime(), 2.0);
    EXPECT_THAT(runAt(2.0), ElementsAre("a"));
    EXPECT_THAT(runAt(3.0), ElementsAre("a"));
    EXPECT_THAT(runAt(4.0), IsEmpty());
}

TEST_F(TimerTasks, KeepTheirSchedulerAndAreDisarmedWhenTheyGo) {
    add("a");
    task("a").scheduleTaskDelay(1.0);
    EXPECT_EQ(scheduler_->referenceCount(), 2u);
    destroy("a");
    EXPECT_EQ(scheduler_->referenceCount(), 1u);
    EXPECT_EQ(scheduler_->nextExpiry(), never);
    EXPECT_THAT(runAt(1.0), IsEmpty());
}

TEST_F(TimerTasks, DumpTheirStateAndStatistics) {
    add("a");
    task("a").scheduleTaskDelay(1.0);
    task("a").taskWorkPendingIs(std::numeric_limits<std::uint32_t>::max());
    task("a").taskWorkCountInc(1'000'000'000'000);
    task("a").taskWorkCountInc(1);
    EXPECT_EQ(task("a").taskWorkPending(), std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(task("a").taskWorkCount(), 1'000'000'000'001u);

    auto const context = textDumpContextFactory(false, 1);
    task("a").dumpState(context, 2);
    EXPECT_EQ(context->text(),
              "  task a priority normal scheduled true work pending 4294967295 work done "
              "1000000000001\n");
}

}  // namespace
}  // namespace Velk
