#include "Velk/Advance.h"

namespace Velk {

bool advanceToNextRun(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time) {
    auto const expiry = scheduler.nextExpiry();
    bool const due = expiry && *expiry <= time;
    clock.nowIs(due ? *expiry : time);
    return due && scheduler.runNext(*expiry);
}

void advanceTo(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time) {
    while (advanceToNextRun(clock, scheduler, time)) {
    }
}

}  // namespace Velk
