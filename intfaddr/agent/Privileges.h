// What the kernel lets this process do beyond what its user may: given up once it is not needed any
// more, for good, and for every program that it starts.
//
// Capabilities are a thread's, so there may be no other one. Where the process has none, as most
// processes of others than root, nothing is done.
#pragma once

namespace IntfAddr {

enum class Privileges {
    // What opening sockets in a network namespace takes.
    toFollowNamespaces,
    none,
};

// Gives up all but these. Throws std::system_error.
void keepPrivileges(Privileges kept);

}  // namespace IntfAddr
