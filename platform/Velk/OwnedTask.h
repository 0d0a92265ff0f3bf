// The timer task of a machine, wired to its handleTaskRun(). Runs reach no retired machine.
//
//     Velk::OwnedTask<IntfCleanupSm> task_{*this};
#pragma once

#include <string>

#include "Velk/TimerTask.h"
#include "Zin/Reactor.h"

namespace Velk {

template <class Owner>
class OwnedTask final : private Zin::Reactor<Owner, TimerTask> {
public:
    explicit OwnedTask(Owner& owner) : Zin::Reactor<Owner, TimerTask>(owner, nullptr) {}

    using Zin::Reactor<Owner, TimerTask>::hasNotificationActiveIs;

    // Null where there is no task.
    Zin::Ptr<TimerTask> const& operator()() const { return task_; }

    // Keeps a task of that scheduler, priority and name, else puts a new one in its place.
    Zin::Ptr<TimerTask> const& is(Zin::Ptr<TaskScheduler> const& scheduler, TaskPriority priority,
                                  std::string const& name) {
        if (!task_ || task_->taskScheduler() != scheduler || task_->taskPriority() != priority ||
            task_->taskName() != name) {
            pointTo(timerTaskFactory(scheduler, priority, name));
        }
        return task_;
    }
    void del() { pointTo(nullptr); }

private:
    void handleTaskRun() override { this->template forward<&Owner::handleTaskRun>(); }

    // The old task is disarmed here, also where it is running and so lives on for a while.
    void pointTo(Zin::Ptr<TimerTask> task) {
        if (task_) {
            task_->unschedule();
        }
        this->notifierIs(task);
        task_ = std::move(task);
    }

    Zin::Ptr<TimerTask> task_;
};

}  // namespace Velk
