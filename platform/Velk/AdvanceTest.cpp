#include "Velk/Advance.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "Velk/TestTasks.h"
#include "Zin/Format.h"

namespace Velk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Advance : public TestTasks {
protected:
    // Makes a task that writes down its name and the time at which it runs.
    TimerTask& timed(
        std::string const& name, std::function<void()> act = [] {}) {
        add(name, [this, name, act] {
            times_.push_back(fmt::format("{} at {}", name, clock_->now()));
            act();
        });
        return task(name);
    }
    std::vector<std::string> advance(Zin::Seconds time) {
        times_.clear();
        advanceTo(*clock_, *scheduler_, time);
        return times_;
    }

    std::vector<std::string> times_;
};

TEST_F(Advance, RunsEachTaskAtItsOwnTimeInOrder) {
    timed("first").scheduleTaskDelay(2.0);
    timed("second").scheduleTaskDelay(1.5);
    EXPECT_THAT(advance(5.0), ElementsAre("second at 1.5", "first at 2"));
    EXPECT_EQ(clock_->now(), 5.0);
}

TEST_F(Advance, RunsTasksOfOneInstantInTheOrderOfTheirArming) {
    timed("first");
    timed("second").scheduleTaskDelay(1.0);
    task("first").scheduleTaskDelay(1.0);
    EXPECT_THAT(advance(1.0), ElementsAre("second at 1", "first at 1"));
}

TEST_F(Advance, RunsWhatIsDueExactlyThenAndNothingLater) {
    timed("task").scheduleTaskDelay(1.5);
    EXPECT_THAT(advance(1.25), IsEmpty());
    EXPECT_EQ(clock_->now(), 1.25);
    EXPECT_THAT(advance(1.5), ElementsAre("task at 1.5"));
}

TEST_F(Advance, AMoveToThePresentRunsWhatIsDueNow) {
    timed("task").scheduleTask();
    EXPECT_THAT(advance(0.0), ElementsAre("task at 0"));
}

TEST_F(Advance, AnEarlierTimeLeavesTheClockWhereItIs) {
    advance(2.0);
    timed("task").scheduleTask();
    EXPECT_THAT(advance(1.0), IsEmpty());
    EXPECT_EQ(clock_->now(), 2.0);
}

TEST_F(Advance, RunsWhatATaskArmsOnTheWay) {
    timed("second");
    timed("first", [this] {
        if (clock_->now() < 3.0) {
            task("first").scheduleTaskDelay(1.0);
        } else {
            task("second").scheduleTask();
        }
    }).scheduleTaskDelay(1.0);
    EXPECT_THAT(advance(3.0), ElementsAre("first at 1", "first at 2", "first at 3", "second at 3"));
}

TEST_F(Advance, AFailingTaskEndsTheMoveAtItsTimeAndTheNextMoveGoesOn) {
    timed("first", [] { throw std::runtime_error("no more"); }).scheduleTaskDelay(1.0);
    timed("second").scheduleTaskDelay(2.0);
    EXPECT_THROW(advance(3.0), std::runtime_error);
    EXPECT_EQ(clock_->now(), 1.0);
    EXPECT_THAT(advance(3.0), ElementsAre("second at 2"));
    EXPECT_EQ(clock_->now(), 3.0);
}

TEST_F(Advance, StepByStepOneTaskRunsAtATime) {
    timed("first").scheduleTaskDelay(1.0);
    timed("second").scheduleTaskDelay(1.0);
    EXPECT_TRUE(advanceToNextRun(*clock_, *scheduler_, 2.0));
    EXPECT_THAT(times_, ElementsAre("first at 1"));
    EXPECT_TRUE(advanceToNextRun(*clock_, *scheduler_, 2.0));
    EXPECT_EQ(clock_->now(), 1.0);
    EXPECT_FALSE(advanceToNextRun(*clock_, *scheduler_, 2.0));
    EXPECT_EQ(clock_->now(), 2.0);
}

}  // namespace
}  // namespace Velk
