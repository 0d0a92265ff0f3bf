#include "Velk/TaskScheduler.h"

#include <utility>

#include "Velk/TimerTask.h"
#include "Zin/Registry.h"
#include "Zin/Turn.h"

namespace Velk {
namespace {

Zin::ModuleRegistration const module{{.name = "Velk", .dependsOn = {"Pell", "Zin"}}};

}  // namespace

TaskScheduler::TaskScheduler(Zin::Ptr<Zin::Clock const> clock,
                             std::unique_ptr<YieldPolicy> yieldPolicy)
    : clock_(std::move(clock)), yieldPolicy_(std::move(yieldPolicy)) {}

// Tasks co-own their scheduler, so none is armed any more.
TaskScheduler::~TaskScheduler() noexcept(false) = default;

std::optional<Zin::Seconds> TaskScheduler::nextExpiry() const {
    if (armed_.empty()) {
        return std::nullopt;
    }
    return (*armed_.begin())->expiry_;
}

std::uint32_t TaskScheduler::run() {
    checkIdle();
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
    checkIdle();
    if (armed_.empty() || (*armed_.begin())->expiry_ > time) {
        return false;
    }
    runFirst();
    return true;
}

void TaskScheduler::checkIdle() const {
    if (running_ != nullptr) {
        fail("running_ == nullptr", "tasks are run in the run of task {}", running_->taskName());
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
}

void TaskScheduler::disarm(TimerTask& task) {
    if (task.armed_) {
        armed_.erase(&task);
        task.armed_ = false;
    }
}

bool TaskScheduler::ExpiresFirst::operator()(TimerTask const* a, TimerTask const* b) const {
    return a->expiry_ != b->expiry_ ? a->expiry_ < b->expiry_ : a->arming_ < b->arming_;
}

Zin::Ptr<TaskScheduler> taskSchedulerFactory(Zin::Ptr<Zin::Clock const> clock,
                                             std::unique_ptr<YieldPolicy> yieldPolicy) {
    return Zin::make<TaskScheduler>(std::move(clock), std::move(yieldPolicy));
}

}  // namespace Velk
