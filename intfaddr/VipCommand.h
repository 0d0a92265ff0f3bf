// The subcommand vip: adds and removes virtual addresses of an agent that runs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "intfaddr/Streams.h"

namespace IntfAddr {

struct VipOptions {
    std::vector<std::string> words{};
    std::optional<std::string> runDir{};
};

// Returns the exit status: 0 done, 1 it was so already, 3 no agent could be asked. Throws
// BadQuestion, and std::exception for what fails.
int vip(VipOptions const& options, Streams const& streams);

}  // namespace IntfAddr
