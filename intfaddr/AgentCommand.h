// The subcommand agent: follows the kernel of this machine until it is told to end.
//
// What is told of goes to the standard output and error, neither of which holds it up: who does not
// read loses lines, and is told how many.
//
// It answers questions at a socket in its run directory (Answers.h), and tells the service manager
// that has started it how it fares (ServiceManager.h). Of what it may do as root it keeps what
// following network namespaces takes (Privileges.h).
//
//   SIGUSR1           prints the JSON of `show --json`
//   SIGHUP            has it read its configuration file again (Configuration.h)
//   SIGTERM, SIGINT   end it
#pragma once

#include <optional>
#include <string>

#include "intfaddr/config/ConfigFile.h"

namespace IntfAddr {

struct AgentOptions {
    Given given{};
    // The configuration file; where nothing is given the system's, if it is there.
    std::optional<std::string> configFile{};
    std::string version{};  // of the program
};

// Returns the exit status. Throws std::exception where it cannot begin: BadQuestion for a bad
// configuration.
int agent(AgentOptions const& options);

}  // namespace IntfAddr
