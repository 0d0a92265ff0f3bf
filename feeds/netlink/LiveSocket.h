// A socket of the routing netlink, in the network namespace of the calling thread at the time of
// its opening, watched by a loop.
#pragma once

#include <cstdint>

#include "feeds/netlink/Kernel.h"
#include "feeds/netlink/Loop.h"

namespace Netlink {

// Told of links and addresses. `granted` is the size of its receive buffer, in bytes, where the
// kernel does not give what is asked for. All throw std::system_error.
std::unique_ptr<Socket> openNotifications(Loop& loop, Readable const& readable,
                                          std::size_t receiveBuffer, std::size_t& granted);
// For requests and their answers.
std::unique_ptr<Socket> openDumps(Loop& loop, Readable const& readable);

}  // namespace Netlink
