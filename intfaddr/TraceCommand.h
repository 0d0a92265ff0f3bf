// The subcommand trace: lists how much each class of the agent that runs traces, or changes it.
#pragma once

#include <optional>
#include <string>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct TraceOptions {
    // CLASS=LEVEL[,CLASS=LEVEL...], or "off"; a CLASS of * is all of them.
    std::optional<std::string> spec{};
    bool json = false;
    std::optional<std::string> runDir{};
};

// Returns the exit status. Throws NoAgent, BadQuestion, and std::exception for what fails.
int trace(TraceOptions const& options, Streams const& streams);

}  // namespace IntfAddr
