// The subcommand agent: follows the kernel of this machine until it is told to end.
//
// What is told of goes to the standard output and error, neither of which holds it up: who does not
// read loses lines, and is told how many.
//
// It answers questions at a socket in its run directory (Answers.h).
//
//   SIGUSR1           prints the JSON of `show --json`
//   SIGTERM, SIGINT   end it
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "feeds/netlink/Picture.h"

namespace IntfAddr {

struct AgentOptions {
    // Print each change of a table.
    bool events = false;
    // Where to record what is published; and up to how many bytes.
    std::optional<std::string> record{};
    std::uint64_t recordLimit = std::uint64_t{1024} * 1024 * 1024;
    // Where to leave a scenario of each rebuild.
    std::optional<std::string> troubleDir{};
    // Where an agent that runs is known, and may be asked; the default where nothing is given.
    std::optional<std::string> runDir{};
    // The name of the group that may ask; the process's where nothing is given.
    std::optional<std::string> group{};
    Netlink::Policy policy{};
    std::string version{};  // of the program
    double coalesceMilliseconds = 1.0;
    std::uint32_t yieldEvery = 1000;
    std::uint64_t receiveBuffer = std::uint64_t{16} * 1024 * 1024;  // bytes
};

// Returns the exit status. Throws std::exception where it cannot begin.
int agent(AgentOptions const& options);

}  // namespace IntfAddr
