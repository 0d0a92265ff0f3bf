// A point in time or a duration, in seconds.
#pragma once

namespace Zin {

// A time, or how long something takes.
using Seconds = double;

}  // namespace Zin
