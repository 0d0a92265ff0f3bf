// A point in time or a duration, in seconds.
#pragma once

namespace Zin {

// A point in time is counted from an instant that its clock chooses (Zin/Clock.h).
using Seconds = double;

}  // namespace Zin
