// The subcommand status: prints how the agent that runs fares.
#pragma once

#include <optional>
#include <string>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct StatusOptions {
    bool json = false;
    std::optional<std::string> runDir{};
};

// Returns the exit status: 3 where no agent runs. Throws std::exception for what fails.
int agentStatus(StatusOptions const& options, Streams const& streams);

}  // namespace IntfAddr
