// The subcommand ring: prints the trace ring of an agent, that runs or has ended, from its file.
#pragma once

#include <optional>
#include <string>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct RingOptions {
    std::optional<std::string> file{};
    bool json = false;
    std::optional<std::string> runDir{};
};

// Returns the exit status: 1 where nothing has been recorded, 3 where no ring can be read. Throws
// std::exception for what fails.
int ring(RingOptions const& options, Streams const& streams);

}  // namespace IntfAddr
