// A queue of timer tasks over a clock. It brings no loop of its own: whoever embeds it asks for the
// next expiry, sleeps as its own event loop sees fit, and calls run() when the time has come.
//
// Tasks run in order of expiry, those of one instant in the order in which they were armed, each as
// a turn of its own. A task that is armed during run() waits for the next call, even if it is due
// at once, so that the embedder's loop gets its turn between two runs of a task that yields.
//
// A run is the whole of what run() or runNext() sets off: neither may be called from within a
// running task, which would take its share of the thread from the task outside.
//
// Co-owned by its tasks. Tasks may be made, armed, disarmed and destroyed at any time, by a running
// task too. What a task throws reaches the caller of run() or runNext(); the tasks that were due
// after it stay armed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>

#include "Pell/Traced.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Clock.h"
#include "Zin/Ptr.h"

namespace Velk {

class TimerTask;

class TaskScheduler final : public Zin::Entity, private Pell::Traced<"TaskScheduler"> {
public:
    TaskScheduler(Zin::Ptr<Zin::Clock const> clock, std::unique_ptr<YieldPolicy> yieldPolicy);
    ~TaskScheduler() noexcept(false) override;

    Zin::Seconds now() const { return clock_->now(); }
    Zin::Ptr<Zin::Clock const> const& clock() const { return clock_; }

    // When the next task is to run, on the scheduler's clock; nothing when no task is armed.
    std::optional<Zin::Seconds> nextExpiry() const;

    // Runs what is due now and was armed before this call. Returns how many runs that were.
    std::uint32_t run();

    // Runs the first task if it is due at `time` or earlier. Returns whether it did.
    bool runNext(Zin::Seconds time);

private:
    friend class TimerTask;

    struct ExpiresFirst {
        bool operator()(TimerTask const* a, TimerTask const* b) const;
    };

    using Armed = std::set<TimerTask*, ExpiresFirst>;

    void arm(TimerTask& task, Zin::Seconds expiry);
    void disarm(TimerTask& task);
    void checkIdle() const;
    void runFirst();

    Zin::Ptr<Zin::Clock const> const clock_;
    std::unique_ptr<YieldPolicy> const yieldPolicy_;
    Armed armed_;
    std::uint64_t armings_ = 0;
    TimerTask const* running_ = nullptr;
};

Zin::Ptr<TaskScheduler> taskSchedulerFactory(Zin::Ptr<Zin::Clock const> clock,
                                             std::unique_ptr<YieldPolicy> yieldPolicy);

}  // namespace Velk
