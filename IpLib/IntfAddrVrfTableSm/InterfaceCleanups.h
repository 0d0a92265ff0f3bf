// The clean-ups of one VRF's interfaces: requested, carried out early, or carried out by the task
// once the delay is over (see IntfCleanupSm.h). Without a delay a request is carried out at once,
// and neither backlog nor task exists.
//
// Owned by the VRF's machine, in whose name it traces. The backlog may be taken away: a change that
// is being carried out goes on with it, and no other may begin. A new backlog needs a new task.
#pragma once

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"
#include "Zin/Child.h"

namespace IpLib::IntfAddrVrfTableImpl {

class InterfaceCleanups : private Pell::Traced<"IntfAddrVrfTableSm"> {
public:
    // `delay` in seconds, 0.0 for none.
    InterfaceCleanups(Zin::Entity const& owner, Zin::Seconds delay,
                      Velk::TaskScheduler const& scheduler, AddressPlacement& placement)
        : owner_(owner), delay_(delay), scheduler_(scheduler), placement_(placement) {}

    bool hasDelay() const { return delay_ != 0.0; }
    bool isPending(IntfFamily const& whose) const {
        return backlog_ && backlog_->hasBacklog(whose.intfId, whose.af);
    }
    // The first request's time stands: repeating it never puts the clean-up off.
    void request(IntfFamily const& whose);
    // Carries out what is pending; nothing ever is without a delay.
    void settle(IntfFamily const& whose);

    // Null without a delay, and where it was taken away.
    Zin::Ptr<IntfCleanupBacklog> const& backlog() const { return given_; }
    Zin::Ptr<IntfCleanupBacklog> const& makeBacklog() {
        if (!given_) {
            given_ = backlog_ = intfCleanupBacklogFactory();
        }
        return given_;
    }
    Zin::Ptr<IntfCleanupBacklog> takeBacklog() { return std::move(given_); }

    // The machine that carries out what is due; null where there is none.
    Zin::Child<IntfCleanupSm>& sm() { return sm_; }
    Zin::Child<IntfCleanupSm> const& sm() const { return sm_; }

private:
    Zin::Entity const& owner_;
    Zin::Seconds const delay_;
    Velk::TaskScheduler const& scheduler_;
    AddressPlacement& placement_;
    Zin::Ptr<IntfCleanupBacklog> given_;
    Zin::Ptr<IntfCleanupBacklog> backlog_;
    Zin::Child<IntfCleanupSm> sm_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
