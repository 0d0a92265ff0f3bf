// Work that its owner puts off: it is armed with a delay and then runs once, by notifying its
// observers (handleTaskRun). Arming it again, from within its run too, makes it run again.
//
// Delays are seconds on the scheduler's clock. A positive delay always expires later than now, at
// the next greater double if need be, so that a task which re-arms itself cannot stop the clock; a
// delay of zero or less expires now.
#pragma once

#include <cstdint>
#include <string>

#include "Velk/DumpContext.h"
#include "Velk/TaskPriority.h"
#include "Velk/TaskScheduler.h"
#include "Zin/Notifiee.h"

namespace Velk {

class TimerTask final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<TimerTask> {
    public:
        virtual void handleTaskRun() {}
    };

    // A null scheduler raises Zin::NullArgumentError.
    TimerTask(Zin::Ptr<TaskScheduler> scheduler, TaskPriority priority, std::string name);
    // A task that goes is disarmed.
    ~TimerTask() override;

    // What it was made with; the name is for people.
    std::string const& taskName() const { return name_; }
    Zin::Ptr<TaskScheduler> const& taskScheduler() const { return scheduler_; }
    TaskPriority taskPriority() const { return priority_; }
    void taskPriorityIs(TaskPriority priority) { priority_ = priority; }

    // Whether it is armed, and whether it is in its run: both where it has armed itself again.
    bool taskScheduled() const { return queuePlace_ != 0; }
    bool taskCurrentlyRunning() const { return scheduler_->running_ == this; }
    // Whether the run in progress has had its share; false outside of runs.
    bool taskShouldYield() const;
    // The absolute time at which the armed task runs; of a task that is not armed, when it last was
    // to run.
    Zin::Seconds currentExpirationTime() const { return expiry_; }

    // Runs the task once, `delay` seconds from now, whatever it was armed for before.
    void scheduleTaskDelay(Zin::Seconds delay);
    // The same, unless the task is armed to run sooner or at that very time.
    void scheduleTaskLowestDelay(Zin::Seconds delay);
    // Runs the task as soon as the scheduler can.
    void scheduleTask() { scheduleTaskDelay(0.0); }

    // The task does not run unless it is armed again.
    void unschedule() { scheduler_->disarm(*this); }

    // Statistics: items that remain to be done, items done so far. They steer nothing.
    std::uint32_t taskWorkPending() const { return workPending_; }
    std::uint64_t taskWorkCount() const { return workCount_; }
    void taskWorkPendingIs(std::uint32_t count) { workPending_ = count; }
    void taskWorkCountInc(std::uint64_t count) { workCount_ += count; }

    void dumpState(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent) const;

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    friend class TaskScheduler;
    friend class TaskQueue<TimerTask>;

    Zin::Seconds expiryAfter(Zin::Seconds delay) const;

    Zin::Ptr<TaskScheduler> const scheduler_;
    TaskPriority priority_;
    std::string const name_;
    std::uint32_t workPending_ = 0;
    std::uint64_t workCount_ = 0;

    // The scheduler's.
    Zin::Seconds expiry_ = 0.0;
    std::uint32_t queuePlace_ = 0;

    mutable Zin::NotifieeList<Notifiee> notifieeList_;
};

Zin::Ptr<TimerTask> timerTaskFactory(Zin::Ptr<TaskScheduler> scheduler, TaskPriority priority,
                                     std::string name);

}  // namespace Velk
