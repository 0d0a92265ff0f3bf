// `intfaddr replay`: replays a scenario file and prints what happens.
#pragma once

#include <string>

#include "feeds/scenario/Run.h"
#include "intfaddr/Streams.h"

namespace IntfAddr {

struct ReplayOptions {
    // "-": the standard input.
    std::string file{};
    Scenario::Options run{};
};

// Returns the exit status: 0; 1 if an expectation failed; 2 if the file is wrong, with a message
// that names the line; 3 if an invariant failed.
int replay(ReplayOptions const& options, Streams const& streams);

}  // namespace IntfAddr
