// Sees to it that one agent runs: whoever holds an Instance is the one.
//
// It is a lock of the kernel's on a file in the run directory. It goes with the process, however
// that ends, so nothing stale is ever in the way of a restart; the file stays. A child that is
// forked does not hold it, and no process may make two for one directory.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {

// Names the file and the reason.
class InstanceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Another agent runs; names its process.
class RunsAlready : public InstanceError {
public:
    using InstanceError::InstanceError;
};

// That of root's agents.
constexpr char const* systemRunDirectory = "/run/intfaddr";

// Where agents of this user leave their traces: /run/intfaddr, or for others than root the same
// below their $XDG_RUNTIME_DIR, if that is an absolute path.
std::string runDirectory();
// What an agent has left under that name: in the directory, or where none is given in that of the
// user's own agent, or where there is none, and there is one of the system's, in that.
std::string fileOfAgent(std::optional<std::string> const& directory, std::string const& name);

class Instance {
public:
    // Makes the directory if it is not there, but none above it. Throws InstanceError.
    explicit Instance(std::string const& directory = runDirectory());

private:
    Netlink::Descriptor const file_;
};

}  // namespace IntfAddr
