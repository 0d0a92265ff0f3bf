// One random change of a router's published status, or some time that passes.
//
// A change is four small numbers; an address plan says what they mean. In the disjoint plan no two
// interfaces ever want one subnet, no interface has two link-local addresses, and no secondary
// address equals a primary one. In the shared plan everybody wants the same few addresses, in
// several prefix lengths, link-local addresses may be deprecated, and the manager and whole VRF
// status come and go. Changes that the router refuses (of what is not there) change nothing.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "router/Router.h"

namespace RandomStatus {

enum class Plan { disjoint, shared };

struct Change {
    std::uint8_t kind = 0;
    std::uint8_t intf = 0;
    std::uint8_t addr = 0;
    std::uint8_t variant = 0;
};

std::ostream& operator<<(std::ostream& out, Change const& change);

inline constexpr char vrf[] = "red";

// Starts the manager, and puts the VRF, its table and the kernel's interfaces in place.
void prepare(Routing::Router& router);
void apply(Change const& change, Plan plan, Routing::Router& router, Zin::VirtualClock& clock);
// Moves the clock on; the tasks that fall due on the way run at their times.
void advance(Zin::Seconds seconds, Routing::Router& router, Zin::VirtualClock& clock);

}  // namespace RandomStatus
