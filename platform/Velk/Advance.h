// Moves a virtual clock, running the tasks that fall due on the way: in order, the clock standing
// at the time of each; those due at the time of arrival too, and what they arm for then. An earlier
// time leaves the clock where it is.
//
// What a task throws ends the move at that task's time; the same move, made again, goes on with the
// next task.
#pragma once

#include "Velk/TaskScheduler.h"
#include "Zin/Clock.h"

namespace Velk {

// Moves the clock, which is the scheduler's, to the next run that is due by `time`, and runs it;
// where none is due, moves it to `time`. Returns whether something ran.
bool advanceToNextRun(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time);

// Moves the clock to `time`.
void advanceTo(Zin::VirtualClock& clock, TaskScheduler& scheduler, Zin::Seconds time);

}  // namespace Velk
