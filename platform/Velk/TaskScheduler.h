// A queue of timer tasks over a clock. It brings no loop of its own: whoever embeds it has its own
// event loop sleep for pollTimeout(), or until something else comes, and calls run() each time.
//
//     while (poll(descriptors, count, scheduler->pollTimeout()) >= 0) {
//         ...                   // what the descriptors have; it may arm tasks
//         scheduler->run();
//     }
//
// A loop that sleeps otherwise, or is not the one that changes the inputs, observes nextExpiry().
//
// Tasks run in order of expiry, those of one instant in the order in which they were armed, each as
// a turn of its own. A task that is armed during run() waits for the next call, even if it is due
// at once, so that the embedder's loop gets its turn between two runs of a task that yields.
//
// A task never runs while a notification is being handled: neither run() nor runNext() may be
// called within a turn, be it that of a running task.
//
// Co-owned by its tasks. Tasks may be made, armed, disarmed and destroyed at any time, by a running
// task too. What a task throws reaches the caller of run() or runNext(); the tasks that were due
// after it stay armed.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>

#include "Velk/TaskQueue.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Attribute.h"
#include "Zin/Clock.h"

namespace Velk {

class TimerTask;

// When a scheduler without an armed task runs the next one.
inline constexpr Zin::Seconds never = std::numeric_limits<Zin::Seconds>::infinity();

class TaskScheduler final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<TaskScheduler> {
    public:
        // Told each time, in the middle of runs and of arming too: it notes the time, and leaves
        // tasks and their machines alone.
        virtual void handleNextExpiry() {}
    };

    // A null clock or policy raises Zin::NullArgumentError.
    TaskScheduler(Zin::Ptr<Zin::Clock const> clock, std::unique_ptr<YieldPolicy> yieldPolicy);

    // The clock's, which stands still within a turn.
    Zin::Seconds now() const { return clock_->now(); }
    Zin::Ptr<Zin::Clock const> const& clock() const { return clock_; }

    // When the next task is to run, on the scheduler's clock; `never` when no task is armed.
    Zin::Seconds nextExpiry() const { return nextExpiry_(); }

    // For how many milliseconds poll(), epoll_wait() and their like may sleep: until the next task
    // is due, and no less; -1, which is for ever, when no task is armed; 0 when one is due.
    int pollTimeout() const;

    // Runs what is due now and was armed before this call. Returns how many runs that were.
    std::uint32_t run();

    // Runs the first task if it is due at `time` or earlier. Returns whether it did. A task that is
    // armed for `never` is not due at any time.
    bool runNext(Zin::Seconds time);

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    friend class TimerTask;

    void arm(TimerTask& task, Zin::Seconds expiry);
    void disarm(TimerTask& task);
    void updateNextExpiry();
    static void checkOutsideOfTurns();
    void runFirst();

    Zin::Ptr<Zin::Clock const> const clock_;
    std::unique_ptr<YieldPolicy> const yieldPolicy_;
    TaskQueue<TimerTask> armed_;
    std::uint64_t armings_ = 0;
    TimerTask const* running_ = nullptr;

    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::Attribute<&Notifiee::handleNextExpiry, Zin::Seconds> nextExpiry_{*this, never};
};

Zin::Ptr<TaskScheduler> taskSchedulerFactory(Zin::Ptr<Zin::Clock const> clock,
                                             std::unique_ptr<YieldPolicy> yieldPolicy);

}  // namespace Velk
