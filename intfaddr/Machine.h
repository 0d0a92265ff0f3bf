// Fills a router with what the kernel of this machine has at this moment.
#pragma once

#include <functional>
#include <optional>

#include "feeds/netlink/Feed.h"
#include "router/Router.h"

namespace IntfAddr {

// A VRF that cannot be read, or that the library refuses, is left out with a warning that names it;
// where it is the only one asked for, or the program's own namespace, that is an error. A VRF that
// does not exist is not published.
//
// `look` is shown the feed at the end.
void publishMachine(Routing::Router& router, std::optional<L3::VrfName> const& only,
                    Netlink::Policy const& policy, Netlink::Notice const& warn,
                    std::function<void(Netlink::Feed const&)> const& look);

}  // namespace IntfAddr
