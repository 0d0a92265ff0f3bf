#include "Velk/TaskScheduler.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Pell/Module.h"
#include "Velk/Module.h"
#include "Velk/TimerTask.h"
#include "Zin/Collection.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

namespace Velk {

Zin::ModuleRegistration const module{{.name = "Velk", .dependsOn = {&Pell::module, &Zin::module}}};

TaskScheduler::TaskScheduler(Zin::Ptr<Zin::Clock const> clock,
                             std::unique_ptr<YieldPolicy> yieldPolicy)
    : clock_(Zin::notNull("clock", std::move(clock))),
      yieldPolicy_(Zin::notNull("yieldPolicy", std::move(yieldPolicy))) {}

int TaskScheduler::pollTimeout() const {
    if (nextExpiry() == never) {
        return -1;
    }
    double const milliseconds = std::ceil((nextExpiry() - now()) * 1000.0);
    return static_cast<int>(std::clamp(milliseconds, 0.0, double{std::numeric_limits<int>::max()}));
}

std::uint32_t TaskScheduler::run() {
    checkOutsideOfTurns();
    Zin::Ptr<TaskScheduler> const alive(this);  // a run may drop the last pointer
    Zin::Seconds const start = now();
    std::uint64_t const armings = armings_;
    std::uint32_t runs = 0;
    while (!armed_.empty()) {
        // Time does not go back, so whatever was armed during this call stands behind all that was
        // due before it.
        TimerTask const& first = **armed_.begin();
        if (first.expiry_ > start || first.arming_ > armings) {
            break;
        }
        runFirst();
        ++runs;
    }
    return runs;
}

bool TaskScheduler::runNext(Zin::Seconds time) {
    checkOutsideOfTurns();
    if (nextExpiry() == never || nextExpiry() > time) {
        return false;
    }
    runFirst();
    return true;
}

void TaskScheduler::checkOutsideOfTurns() {
    if (Zin::Turn::inProgress()) {
        fail("!inProgress()", {"tasks are run within a turn", "run"});
    }
}

void TaskScheduler::runFirst() {
    Zin::Turn turn;
    // The run may drop the task's last pointer, or the scheduler's, which the task co-owns.
    Zin::Ptr<TimerTask> const task(*armed_.begin());
    disarm(*task);
    yieldPolicy_->handleRunStarts();
    running_ = task.get();
    task->notifieeList().notify(*task, &TimerTask::Notifiee::handleTaskRun);
    running_ = nullptr;
}

void TaskScheduler::arm(TimerTask& task, Zin::Seconds expiry) {
    // Memory comes first: where it is lacking, the task stays as it is.
    Armed::node_type node = task.armed_ ? armed_.extract(&task) : Armed({&task}).extract(&task);
    task.expiry_ = expiry;
    task.arming_ = ++armings_;
    armed_.insert(std::move(node));
    task.armed_ = true;
    updateNextExpiry();
}

void TaskScheduler::disarm(TimerTask& task) {
    if (task.armed_) {
        armed_.erase(&task);
        task.armed_ = false;
        updateNextExpiry();
    }
}

void TaskScheduler::updateNextExpiry() {
    nextExpiry_.is(armed_.empty() ? never : (*armed_.begin())->expiry_);
}

bool TaskScheduler::ExpiresFirst::operator()(TimerTask const* a, TimerTask const* b) const {
    return a->expiry_ != b->expiry_ ? a->expiry_ < b->expiry_ : a->arming_ < b->arming_;
}

Zin::Ptr<TaskScheduler> taskSchedulerFactory(Zin::Ptr<Zin::Clock const> clock,
                                             std::unique_ptr<YieldPolicy> yieldPolicy) {
    return Zin::make<TaskScheduler>(std::move(clock), std::move(yieldPolicy));
}

}  // namespace Velk
