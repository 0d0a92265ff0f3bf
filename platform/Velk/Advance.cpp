#include "Velk/Advance.h"

#include <algorithm>

namespace Velk {

bool advanceToNextRun(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time) {
    Zin::Seconds const next = std::min(scheduler.nextExpiry(), time);
    clock.nowIs(next);
    return scheduler.runNext(next);
}

void advanceTo(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time) {
    while (advanceToNextRun(clock, scheduler, time)) {
    }
}

}  // namespace Velk
