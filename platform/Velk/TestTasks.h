// For the tests of tasks: a scheduler over a virtual clock, and tasks by name whose runs are
// written down.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Velk/TaskScheduler.h"
#include "Velk/TimerTask.h"

namespace Velk {

class TestRunner final : public TimerTask::Notifiee {
public:
    TestRunner(Zin::Ptr<TimerTask const> task, std::function<void()> handler)
        : handler_(std::move(handler)) {
        notifierIs(std::move(task));
    }
    void handleTaskRun() override {
        auto const handler = handler_;  // which may destroy this runner
        handler();
    }

private:
    std::function<void()> const handler_;
};

class TestTasks : public testing::Test {
protected:
    // Makes a task; when it runs it writes down its name and then does what the test wants.
    Zin::Ptr<TimerTask> const& add(
        std::string const& name, std::function<void()> act = [] {}) {
        Job& job = jobs_[name];
        job.task = timerTaskFactory(scheduler_, TaskPriority::normal, name);
        job.runner = std::make_unique<TestRunner>(job.task, [this, name, act] {
            ran_.push_back(name);
            act();
        });
        return job.task;
    }
    TimerTask& task(std::string const& name) { return *jobs_.at(name).task; }
    void destroy(std::string const& name) { jobs_.erase(name); }

    // Runs what is due at `time`; which tasks that were, in this order.
    std::vector<std::string> runAt(Zin::Seconds time) {
        clock_->nowIs(time);
        ran_.clear();
        std::uint32_t const runs = scheduler_->run();
        EXPECT_EQ(runs, ran_.size());
        return ran_;
    }

    struct Job {
        Zin::Ptr<TimerTask> task;
        std::unique_ptr<TestRunner> runner;
    };

    Zin::Ptr<Zin::VirtualClock> clock_ = Zin::make<Zin::VirtualClock>();
    Zin::Ptr<TaskScheduler> scheduler_ =
        taskSchedulerFactory(clock_, std::make_unique<EveryNth>(2));
    std::map<std::string, Job> jobs_;
    std::vector<std::string> ran_;
};

}  // namespace Velk
