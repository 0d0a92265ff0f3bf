#include "testing/VirtualTime.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Velk/TimerTask.h"

namespace Testing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Runs = std::vector<std::string>;

// A task that writes down when it runs, and then does something.
class Task final : public Velk::TimerTask::Notifiee {
public:
    Task(VirtualTime const& time, Runs& runs, std::string const& name)
        : task(Velk::timerTaskFactory(time.scheduler(), {}, name)), time_(time), runs_(runs) {
        notifierIs(task);
    }

    Zin::Ptr<Velk::TimerTask> const task;
    std::function<void()> then;

private:
    void handleTaskRun() override {
        runs_.push_back(fmt::format("{} at {}", task->taskName(), time_.now()));
        if (then) {
            then();
        }
    }

    VirtualTime const& time_;
    Runs& runs_;
};

struct Bench {
    VirtualTime time;
    Runs runs;
    Task first{time, runs, "first"};
    Task second{time, runs, "second"};
};

TEST(VirtualTime, StartsAtZeroAndMovesOnlyForward) {
    VirtualTime time;
    EXPECT_EQ(time.now(), 0.0);
    time.advanceTo(2.5);
    time.advance(0.5);
    EXPECT_EQ(time.now(), 3.0);
    EXPECT_EQ(time.scheduler()->now(), 3.0);
    EXPECT_EQ(time.clock()->now(), 3.0);
    time.advanceTo(1.0);
    EXPECT_EQ(time.now(), 3.0);
}

TEST(VirtualTime, RunsEachTaskAtItsOwnTimeInOrder) {
    Bench bench;
    bench.first.task->scheduleTaskDelay(2.0);
    bench.second.task->scheduleTaskDelay(1.5);
    bench.time.advanceTo(5.0);
    EXPECT_THAT(bench.runs, ElementsAre("second at 1.5", "first at 2"));
    EXPECT_EQ(bench.time.now(), 5.0);
}

TEST(VirtualTime, RunsTasksOfOneInstantInTheOrderOfTheirArming) {
    Bench bench;
    bench.second.task->scheduleTaskDelay(1.0);
    bench.first.task->scheduleTaskDelay(1.0);
    bench.time.advance(1.0);
    EXPECT_THAT(bench.runs, ElementsAre("second at 1", "first at 1"));
}

TEST(VirtualTime, RunsWhatIsDueExactlyThenAndNothingLater) {
    Bench bench;
    bench.first.task->scheduleTaskDelay(1.5);
    bench.time.advanceTo(1.25);
    EXPECT_THAT(bench.runs, IsEmpty());
    bench.time.advanceTo(1.5);
    EXPECT_THAT(bench.runs, ElementsAre("first at 1.5"));
}

TEST(VirtualTime, AMoveToThePresentRunsWhatIsDueNow) {
    Bench bench;
    bench.first.task->scheduleTask();
    bench.time.advance(0.0);
    EXPECT_THAT(bench.runs, ElementsAre("first at 0"));
}

TEST(VirtualTime, RunsWhatATaskArmsOnTheWay) {
    Bench bench;
    bench.first.then = [&] {
        if (bench.time.now() < 3.0) {
            bench.first.task->scheduleTaskDelay(1.0);
        }
        if (bench.time.now() == 3.0) {
            bench.second.task->scheduleTask();
        }
    };
    bench.first.task->scheduleTaskDelay(1.0);
    bench.time.advanceTo(3.0);
    EXPECT_THAT(bench.runs, ElementsAre("first at 1", "first at 2", "first at 3", "second at 3"));
}

TEST(VirtualTime, AFailingTaskEndsTheMoveAtItsTime) {
    Bench bench;
    bench.first.then = [] { throw std::runtime_error("no more"); };
    bench.first.task->scheduleTaskDelay(1.0);
    bench.second.task->scheduleTaskDelay(2.0);
    EXPECT_THROW(bench.time.advanceTo(3.0), std::runtime_error);
    EXPECT_EQ(bench.time.now(), 1.0);
    bench.time.advanceTo(3.0);
    EXPECT_THAT(bench.runs, ElementsAre("first at 1", "second at 2"));
}

TEST(VirtualTime, TellsEveryNthQuestionOfARunToYield) {
    VirtualTime time(2);
    Runs runs;
    Task task(time, runs, "task");
    std::vector<bool> answers;
    task.then = [&] {
        for (int i = 0; i < 3; ++i) {
            answers.push_back(task.task->taskShouldYield());
        }
    };
    task.task->scheduleTask();
    time.advance(1.0);
    task.task->scheduleTask();
    time.advance(1.0);
    EXPECT_THAT(answers, ElementsAre(false, true, false, false, true, false));
}

}  // namespace
}  // namespace Testing
