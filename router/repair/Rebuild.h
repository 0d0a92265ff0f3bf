// One rebuild of a VRF: a fresh table, filled from what is published, in place of the one that is
// there, and a new machine with it.
//
//     takeAway   the old machine is silenced; its table leaves the directory, and it goes
//     put        a fresh table is filled by succession, and joins the directory; its new machine
//     finds
//                what it would admit there already, has all others wait in their order, and goes on
//                from there
//
// The VRF is removed and added, so that what its machines acquire and release balances. What
// observers of that do meanwhile stands: a table that the agent has put there is left alone, and
// where the manager was stopped the old table comes back.
//
// Whoever is called is in a turn; each step does what it can, and leaves what fails to the turn.
#pragma once

#include <vector>

#include "router/Router.h"

namespace Routing {

// A silenced machine writes nothing any more, nor does its teardown. Null is none.
void silence(Zin::Ptr<IpLib::IntfAddrVrfTableSm> const& machine);

class Rebuild {
public:
    // The VRF has a table, and the manager runs. Borrows the router.
    Rebuild(Router& router, L3::VrfName vrf);

    void takeAway();
    // Whether the fresh table is there by now.
    bool put();

private:
    void fill();
    void keepRefused(IpLib::IntfAddrVrfTableSm& machine) const;
    void keepQueue(IpLib::IntfAddrVrfTableSm& machine) const;

    Router& router_;
    L3::VrfName const vrf_;
    Published const published_;
    Zin::Ptr<IpLib::IntfAddrVrfTable> const old_;
    Zin::Ptr<IpLib::IntfAddrVrfTable> const fresh_;
    std::vector<IpLib::IntfAddrWithMaskKey> waiting_;  // first come, first
};

}  // namespace Routing
