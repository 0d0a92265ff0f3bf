// The subcommand monitor: prints each change of the tables of the agent that runs, as it happens,
// each line at once.
//
// It ends with 0 when it is told to (SIGINT, SIGTERM), or nobody reads its output any more, which
// it notices at the next line; with 3 where no agent runs. Where the connection breaks, as when its
// output was not read for long, it goes on from what it had last; throws where the agent went away.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "intfaddr/Streams.h"
#include "intfaddr/ask/Words.h"

namespace IntfAddr {

struct MonitorOptions {
    std::vector<std::string> words{};
    // What stands first, then what changes.
    bool initial = false;
    bool json = false;
    std::optional<std::string> runDir{};
};

Grammar const& monitorGrammar();

// Returns the exit status. Throws BadQuestion, and std::exception for what fails.
int monitor(MonitorOptions const& options, Streams const& streams);

}  // namespace IntfAddr
