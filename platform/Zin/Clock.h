// The framework clock: seconds that never go back. Time stands still within a turn, so that what
// one event sets off bears one time.
#pragma once

#include <cstdint>

#include "Zin/Entity.h"
#include "Zin/Seconds.h"

namespace Zin {

class Clock : public Entity {
public:
    // Seconds since an instant of the clock's own choosing.
    virtual Seconds now() const = 0;
};

// The system's monotonic clock (CLOCK_MONOTONIC, so that a time of it may be given to timerfd and
// clock_nanosleep), read once a turn. It is of one thread: the one whose turns it knows.
class SteadyClock final : public Clock {
public:
    Seconds now() const override;

private:
    mutable std::uint64_t turn_ = 0;
    mutable Seconds read_ = 0.0;
};

// A clock that its owner moves: tests, and replays of recorded input.
class VirtualClock final : public Clock {
public:
    Seconds now() const override { return now_; }
    // Moves the clock on to `now`; an earlier time leaves it where it is.
    void nowIs(Seconds now);

private:
    Seconds now_ = 0.0;
};

// The monotonic clock as it reads this very moment, turn or no turn: for measuring how long
// something on the stack has been running.
Seconds steadyReading();

}  // namespace Zin
