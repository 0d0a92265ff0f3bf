#include "Velk/TaskScheduler.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Pell/Module.h"
#include "Pell/Traced.h"
#include "Velk/Module.h"
#include "Velk/TimerTask.h"
#include "Zin/Collection.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

namespace Velk {

namespace {

struct Invariant : Pell::Traced<"TaskScheduler"> {
    using Traced::fail;
};

}  // namespace

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
        auto const& first = armed_.first();
        if (first.expiry > start || first.arming > armings) {
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
        Invariant::fail("!inProgress()", {"tasks are run within a turn", "run"});
    }
}

void TaskScheduler::runFirst() {
    Zin::Turn turn;
    // The run may drop the task's last pointer, or the scheduler's, which the task co-owns.
    Zin::Ptr<TimerTask> const task(armed_.first().task);
    disarm(*task);
    yieldPolicy_->handleRunStarts();
    running_ = task.get();
    task->notifieeList().notify(*task, &TimerTask::Notifiee::handleTaskRun);
    running_ = nullptr;
}

void TaskScheduler::arm(TimerTask& task, Zin::Seconds expiry) {
    // Where memory is lacking, the task stays as it is.
    armed_.put({expiry, ++armings_, &task});
    task.expiry_ = expiry;
    updateNextExpiry();
}

void TaskScheduler::disarm(TimerTask& task) {
    if (task.queuePlace_ != 0) {
        armed_.remove(task);
        updateNextExpiry();
    }
}

void TaskScheduler::updateNextExpiry() {
    nextExpiry_.is(armed_.empty() ? never : armed_.first().expiry);
}

Zin::Ptr<TaskScheduler> taskSchedulerFactory(Zin::Ptr<Zin::Clock const> clock,
                                             std::unique_ptr<YieldPolicy> yieldPolicy) {
    return Zin::make<TaskScheduler>(std::move(clock), std::move(yieldPolicy));
}

}  // namespace Velk
