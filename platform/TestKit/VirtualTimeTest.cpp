#include "TestKit/VirtualTime.h"

#include <gmock/gmock.h>

#include <functional>
#include <utility>
#include <vector>

#include "Velk/TimerTask.h"

namespace TestKit {
namespace {

using testing::ElementsAre;

// A task that does something when it runs.
class Task final : public Velk::TimerTask::Notifiee {
public:
    Task(VirtualTime const& time, std::function<void(Velk::TimerTask&)> act)
        : task(Velk::timerTaskFactory(time.scheduler(), {}, "task")), act_(std::move(act)) {
        notifierIs(task);
    }

    Zin::Ptr<Velk::TimerTask> const task;

private:
    void handleTaskRun() override { act_(*task); }

    std::function<void(Velk::TimerTask&)> const act_;
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

TEST(VirtualTime, RunsTasksAtTheirTimes) {
    VirtualTime time;
    std::vector<Zin::Seconds> runs;
    Task const task(time, [&](Velk::TimerTask& self) {
        runs.push_back(time.now());
        self.scheduleTaskDelay(1.5);
    });
    task.task->scheduleTaskDelay(1.0);
    time.advanceTo(1.0);
    time.advance(3.5);
    EXPECT_THAT(runs, ElementsAre(1.0, 2.5, 4.0));
}

TEST(VirtualTime, TellsEveryNthQuestionOfARunToYield) {
    VirtualTime time(2);
    std::vector<bool> answers;
    Task const task(time, [&](Velk::TimerTask& self) {
        for (int i = 0; i < 3; ++i) {
            answers.push_back(self.taskShouldYield());
        }
    });
    task.task->scheduleTask();
    time.advance(1.0);
    task.task->scheduleTask();
    time.advance(1.0);
    EXPECT_THAT(answers, ElementsAre(false, true, false, false, true, false));
}

}  // namespace
}  // namespace TestKit
