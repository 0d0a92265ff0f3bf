// Time as a test drives it: a clock that starts at 0 and stands still, a scheduler over it, and
// moves forward that run each task at its own time.
#pragma once

#include <cstdint>

#include "Velk/Advance.h"
#include "Zin/Clock.h"

namespace TestKit {

class VirtualTime {
public:
    // Within one run of a task every `yieldEvery`-th question whether to yield is answered yes;
    // with 0 none is.
    explicit VirtualTime(std::uint32_t yieldEvery = 0);

    // Seconds since the clock was made.
    Zin::Seconds now() const { return clock_->now(); }
    // For those that are given a clock and a scheduler, and do not move it themselves.
    Zin::Ptr<Zin::Clock const> clock() const { return clock_; }
    Zin::Ptr<Velk::TaskScheduler> const& scheduler() const { return scheduler_; }

    // See Velk/Advance.h.
    void advanceTo(Zin::Seconds time) { Velk::advanceTo(*clock_, *scheduler_, time); }
    void advance(Zin::Seconds seconds) { advanceTo(now() + seconds); }

private:
    Zin::Ptr<Zin::VirtualClock> const clock_;
    Zin::Ptr<Velk::TaskScheduler> const scheduler_;
};

}  // namespace TestKit
