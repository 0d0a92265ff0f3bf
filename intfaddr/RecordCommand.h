// The subcommand record: has the agent that runs record what it does, as a scenario, or end that.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct RecordOptions {
    std::vector<std::string> words{};
    std::optional<std::string> limit{};
    std::optional<std::string> runDir{};
};

// Returns the exit status. Throws NoAgent, BadQuestion, and std::exception for what fails.
int record(RecordOptions const& options, Streams const& streams);

}  // namespace IntfAddr
