// Replays a scenario file: reads it line by line, carries out each operation, prints what happens.
//
// The same file prints the same on every machine. A file of any length takes the memory of the
// state that it describes.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <ostream>

#include "Zin/Seconds.h"
#include "feeds/scenario/FileError.h"
#include "feeds/scenario/Run.h"

namespace Scenario {

// Told after each line how far the replay is.
using Progress = std::function<void(std::uint64_t line, Zin::Seconds time)>;

// Throws FileError at the first line that makes no sense, with nothing of that line applied: a last
// line too that is torn, as of a recording whose writer was stopped.
// Stops at once where `out` cannot be written any more.
Outcome replay(std::istream& in, std::ostream& out, Options const& options,
               Progress const& progress = {});

}  // namespace Scenario
