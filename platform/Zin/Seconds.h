// A point in time or a duration, in seconds.
#pragma once

namespace Zin {

using Seconds = double;

}  // namespace Zin
