// Says in a line of text what a message of the kernel tells, so that tests compare lines.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "feeds/netlink/Kernel.h"

namespace Netlink::Fake {

// Links: "NEWLINK 3 eth0 up running master 2 state 6 kind veth", of bridge ports "bridge-NEWLINK".
// Addresses: "NEWADDR 3 10.0.0.1/24 peer 10.0.0.9 scope 0 flags 80 label eth0 preferred 5 valid 9";
// what is usual (no peer, scope 0, lifetimes without end) is left out.
// Others: "DONE", "DONE errno 4", "ERROR errno 16", "type 4000".
// In front of it "interrupted " where a dump was, and "REQUESTER/SEQUENCE " where the message has
// such and is not part of a dump.
std::vector<std::string> messageTexts(std::span<std::byte const> datagram);

// All that can be received now: a line for each message, "ENOBUFS" for a loss, "truncated" for what
// was too long, "stranger: " in front of what the kernel has not sent.
std::vector<std::string> receiveTexts(Socket& socket, std::size_t bufferSize = 65536);

}  // namespace Netlink::Fake
