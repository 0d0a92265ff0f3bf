// What the agent that runs says to a request of a command, whole.
#pragma once

#include <optional>
#include <string>

#include "intfaddr/http/Target.h"

namespace IntfAddr {

// The body of a reply that is no refusal. Throws NoAgent, BadQuestion for what the agent refuses,
// and std::exception for what fails.
std::string agentReply(std::optional<std::string> const& runDir, std::string const& method,
                       Target const& target);

}  // namespace IntfAddr
