// The clean-ups of one VRF's interfaces: requested, carried out early, or carried out by the task
// once the delay is over (see IntfCleanupSm.h). Without a delay a request is carried out at once,
// and neither backlog nor task exists.
//
// Owned by the VRF's machine, in whose name it traces.
#pragma once

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"
#include "IpLib/IntfAddrVrfTableSm/OrderedBacklog.h"
#include "Zin/Child.h"

namespace IpLib::IntfAddrVrfTableImpl {

class InterfaceCleanups : private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    using Backlog = OrderedBacklog<IntfCleanupBacklog, IntfFamily>;

    // `delay` in seconds, 0.0 for none.
    InterfaceCleanups(Zin::Entity const& owner, IntfAddrVrfTable* table, Zin::Seconds delay,
                      Velk::TaskScheduler const& scheduler, AddressPlacement& placement)
        : owner_(owner),
          delay_(delay),
          scheduler_(scheduler),
          placement_(placement),
          backlog_(owner, table, intfCleanupBacklogFactory) {}

    bool hasDelay() const { return delay_ != 0.0; }
    bool isPending(IntfFamily const& whose) const {
        auto const& written = backlog_.written();
        return written && backlog_.willStand(whose, written->hasBacklog(whose.intfId, whose.af));
    }
    // The first request's time stands: repeating it never puts the clean-up off.
    void request(IntfFamily const& whose);
    // Carries out what is pending; nothing ever is without a delay.
    void settle(IntfFamily const& whose);

    // There is none without a delay.
    Backlog& backlog() { return backlog_; }
    Backlog const& backlog() const { return backlog_; }

    // The machine that carries out what is due; null where there is none.
    Zin::Child<IntfCleanupSm>& sm() { return sm_; }
    Zin::Child<IntfCleanupSm> const& sm() const { return sm_; }

private:
    void insert(IntfCleanupBacklog& backlog, IntfFamily const& whose, Zin::Seconds since);

    Zin::Entity const& owner_;
    Zin::Seconds const delay_;
    Velk::TaskScheduler const& scheduler_;
    AddressPlacement& placement_;
    Backlog backlog_;
    Zin::Child<IntfCleanupSm> sm_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
