// When a running task has had its share of the thread. Asked after each item of work; what a task
// does not get done it does in its next run.
#pragma once

#include <cstdint>

#include "Zin/Seconds.h"

namespace Velk {

class YieldPolicy {
public:
    virtual ~YieldPolicy() = default;
    // A task begins to run: it has all of its share yet.
    virtual void handleRunStarts() = 0;
    // Asked after each item of work: whether the task is to go on in its next run.
    virtual bool shouldYield() = 0;
};

// A run may take `slice` seconds of real time, whatever clock the tasks are timed by.
class TimeSlice final : public YieldPolicy {
public:
    explicit TimeSlice(Zin::Seconds slice) : slice_(slice) {}
    void handleRunStarts() override;
    bool shouldYield() override;

private:
    Zin::Seconds const slice_;
    Zin::Seconds started_ = 0.0;
};

// Within one run every `every`-th question is answered yes; with 0 none is. The same in every run
// of the same input.
class EveryNth final : public YieldPolicy {
public:
    explicit EveryNth(std::uint32_t every) : every_(every) {}
    void handleRunStarts() override { asked_ = 0; }
    bool shouldYield() override { return every_ > 0 && ++asked_ % every_ == 0; }

private:
    std::uint32_t const every_;
    std::uint32_t asked_ = 0;
};

}  // namespace Velk
