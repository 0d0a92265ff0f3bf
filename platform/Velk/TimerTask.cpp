#include "Velk/TimerTask.h"

#include <cmath>
#include <limits>
#include <utility>

#include "Velk/Dump.h"
#include "Zin/Collection.h"

namespace Velk {

TimerTask::TimerTask(Zin::Ptr<TaskScheduler> scheduler, TaskPriority priority, std::string name)
    : scheduler_(Zin::notNull("scheduler", std::move(scheduler))),
      priority_(priority),
      name_(std::move(name)) {}

TimerTask::~TimerTask() { scheduler_->disarm(*this); }

bool TimerTask::taskShouldYield() const {
    return taskCurrentlyRunning() && scheduler_->yieldPolicy_->shouldYield();
}

void TimerTask::scheduleTaskDelay(Zin::Seconds delay) {
    scheduler_->arm(*this, expiryAfter(delay));
}

void TimerTask::scheduleTaskLowestDelay(Zin::Seconds delay) {
    Zin::Seconds const expiry = expiryAfter(delay);
    if (!taskScheduled() || expiry < expiry_) {
        scheduler_->arm(*this, expiry);
    }
}

Zin::Seconds TimerTask::expiryAfter(Zin::Seconds delay) const {
    Zin::Seconds const now = scheduler_->now();
    if (!(delay > 0.0)) {
        return now;
    }
    Zin::Seconds const expiry = now + delay;
    return expiry > now ? expiry
                        : std::nextafter(now, std::numeric_limits<Zin::Seconds>::infinity());
}

void TimerTask::dumpState(Zin::Ptr<DumpContext const> const& context, std::uint32_t indent) const {
    dumpLine(context, indent, "task {} priority {} scheduled {} work pending {} work done {}\n",
             name_, priority_, taskScheduled(), workPending_, workCount_);
}

Zin::Ptr<TimerTask> timerTaskFactory(Zin::Ptr<TaskScheduler> scheduler, TaskPriority priority,
                                     std::string name) {
    return Zin::make<TimerTask>(std::move(scheduler), priority, std::move(name));
}

}  // namespace Velk
