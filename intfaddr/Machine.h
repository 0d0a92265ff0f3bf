// Fills a router with what the kernel of this machine knows: the VRF "default" from the process's
// own network namespace, and a VRF from each namespace that is named ns-NAME.
#pragma once

#include <functional>
#include <string>

#include "router/Router.h"

namespace IntfAddr {

using Warn = std::function<void(std::string const& message)>;

// A VRF that cannot be read or that the library refuses is left out with a warning that names it.
// Throws if the process's own namespace cannot be read.
void publishMachine(Routing::Router& router, Warn const& warn);

// The same for one VRF alone, nothing of which is left out: throws an error that names it if it
// cannot be read. A VRF that does not exist is not published.
void publishMachineVrf(Routing::Router& router, L3::VrfName const& vrf, Warn const& warn);

}  // namespace IntfAddr
