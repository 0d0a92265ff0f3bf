// Publishes a snapshot of a network namespace as the status of one VRF.
//
//   in     Snapshot
//   out    Inputs: first the kernel's interfaces, then IPv4, then IPv6 status, the order in which
//          the agents of a router come to know them
//
// What the kernel says and the status cannot: the first IPv4 address of an interface that the
// kernel does not call secondary is the primary, all others are secondaries; IPv4 addresses are not
// published as deprecated, nor are IPv6 link-local ones, which address tables could not carry. An
// IPv6 address that is still tentative, or that failed duplicate address detection, is not in use
// and not published (RFC 4862 section 5.4).
#pragma once

#include "feeds/netlink/Snapshot.h"
#include "router/Inputs.h"

namespace Netlink {

// In place of whatever status the VRF has.
void publish(Snapshot const& snapshot, L3::VrfName const& vrf, Routing::Inputs& inputs);

}  // namespace Netlink
