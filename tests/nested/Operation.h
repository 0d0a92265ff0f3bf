// One change of a router's published status, or some time that passes, as a value: the operations
// of scenario files on one VRF, as far as lists of them are made here. It is written as such a file
// writes it, so that a list that shows something can be replayed and read.
#pragma once

#include <cstdint>
#include <string>

#include "Nimb/IpGenAddrWithMask.h"
#include "router/Router.h"

namespace Nested {

struct Operation {
    enum class Kind : std::uint8_t {
        ipIntfAdd,
        ipIntfDel,
        ipPrimary,
        ipUnnumbered,
        ipSecondaryAdd,
        ipSecondaryDel,
        ip6IntfAdd,
        ip6IntfDel,
        ip6AddrSet,
        ip6AddrDel,
        kernelAdd,
        kernelDel,
        vipAdd,
        vipDel,
        managerStop,
        managerStart,
        advance,
    };

    Kind kind{};
    Nimb::IntfId intf{};
    // Unset: none. An interface's status comes with up to two addresses: of IPv4 the primary one
    // and a secondary one.
    Nimb::IpGenAddrWithMask addr{};
    Nimb::IpGenAddrWithMask second{};
    // Of the address; of `ipUnnumbered`, whether the interface becomes unnumbered.
    bool flag = false;
    Zin::Seconds seconds = 0.0;
};

// Does it. One that the router refuses, as it is of what is not there, changes nothing; what the
// library refuses of the status is published all the same.
void apply(Operation const& operation, Routing::Router& router, Zin::VirtualClock& clock);

// Whether it is two changes: a primary address goes, and another comes in its place.
bool replacesPrimary(Operation const& operation, Routing::Router& router);

// The line of a scenario file.
std::string toLine(Operation const& operation);

}  // namespace Nested
