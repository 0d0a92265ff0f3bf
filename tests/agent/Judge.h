// Says what is wrong with what an agent has published, and with its tables, by what its kernel
// holds.
#pragma once

#include <set>

#include "KernelRules.h"
#include "heal/Faults.h"
#include "intfaddr/agent/Agent.h"

namespace Simulated {

using Healing::Faults;

// The published status, but of what is in a namespace whose VRF is in `stale`.
void judgeStatus(Wanted const& wanted, Routing::Router& router, std::set<L3::VrfName> const& stale,
                 Faults& faults);
// The addresses that the agent tells of, and their order.
void judgeOrder(Wanted const& wanted, Netlink::Feed const& feed, Faults& faults);
// The tables, once nothing waits in them but behind others.
void judgeTables(Wanted const& wanted, Routing::Router& router, Faults& faults);

}  // namespace Simulated
