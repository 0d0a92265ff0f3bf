// The subcommand dump: prints what the tables or machines of the agent that runs write about
// themselves.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct DumpOptions {
    std::vector<std::string> words{};
    bool verbose = false;
    std::optional<std::string> max{};
    bool json = false;
    std::optional<std::string> runDir{};
};

// Returns the exit status. Throws NoAgent, BadQuestion, and std::exception for what fails.
int dump(DumpOptions const& options, Streams const& streams);

}  // namespace IntfAddr
