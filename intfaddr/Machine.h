// Fills a router with what the kernel of this machine has at this moment.
#pragma once

#include <functional>

#include "feeds/netlink/Feed.h"
#include "router/Router.h"

namespace IntfAddr {

// A VRF that the library refuses is left out with a warning that names it. `look` is shown the feed
// at the end, which knows what could not be read; `notice` is the feed's.
void publishMachine(Routing::Router& router, Netlink::Feed::Options const& options,
                    Netlink::Notice const& warn, Netlink::Notice const& notice,
                    std::function<void(Netlink::Feed const&)> const& look);

}  // namespace IntfAddr
