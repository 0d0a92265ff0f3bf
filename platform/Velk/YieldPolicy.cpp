#include "Velk/YieldPolicy.h"

#include "Zin/Clock.h"

namespace Velk {

void TimeSlice::handleRunStarts() { started_ = Zin::steadyReading(); }

bool TimeSlice::shouldYield() { return Zin::steadyReading() - started_ >= slice_; }

}  // namespace Velk
