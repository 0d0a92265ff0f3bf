// The subcommand capture: writes what this machine's kernel has at this moment as a scenario.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "feeds/netlink/Picture.h"

namespace IntfAddr {

struct CaptureOptions {
    std::optional<std::string> file{};
    Netlink::Policy policy{};
};

// Returns the exit status. Throws std::exception where it cannot read or write.
int capture(CaptureOptions const& options, std::ostream& out, std::ostream& err);

}  // namespace IntfAddr
