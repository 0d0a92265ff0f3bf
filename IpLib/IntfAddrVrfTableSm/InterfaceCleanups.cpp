#include "IpLib/IntfAddrVrfTableSm/InterfaceCleanups.h"

namespace IpLib::IntfAddrVrfTableImpl {

void InterfaceCleanups::request(IntfFamily const& whose) {
    auto const& [intfId, af] = whose;
    if (!hasDelay()) {
        trace9({"cleaning up for {} af {} immediately", "addDeferredCleanup"}, intfId, af);
        placement_.cleanUp(whose);
        return;
    }
    if (isPending(whose)) {
        auto const pending = backlog_.written()->getBacklog(intfId, af);
        if (pending && pending->processed()) {
            fail("!processed",
                 {"backlog contains entry for {} af {} that was already processed",
                  "addDeferredCleanup"},
                 intfId, af);
        }
        trace9({"cleanup already pending for {} {}", "addDeferredCleanup"}, intfId, af);
        return;
    }
    Zin::Seconds const now = scheduler_.now();
    trace9({"cleanup deferred for {} af {} at {}", "addDeferredCleanup"}, intfId, af, now);
    backlog_.write(whose, true, [this, whose, now](IntfCleanupBacklog& backlog) {
        insert(backlog, whose, now);
    });
}

void InterfaceCleanups::insert(IntfCleanupBacklog& backlog, IntfFamily const& whose,
                               Zin::Seconds since) {
    backlog.addBacklog(whose.intfId, whose.af, since);
    if (owner_.retired() && !sm_()) {
        return;  // asked for in the teardown, whose end it has outlived: nobody will carry it out
    }
    if (!sm_()) {
        fail("intfCleanupSm", {"no intfCleanupSm when there is a delay {}", "addDeferredCleanup"},
             delay_);
    }
    try {
        sm_()->maybeScheduleTask();
    } catch (...) {
        // Pending, it would keep the next request from arming the task.
        backlog.removeBacklog(whose.intfId, whose.af)->processedIs(true);
        throw;
    }
}

void InterfaceCleanups::settle(IntfFamily const& whose) {
    if (!isPending(whose)) {
        return;
    }
    backlog_.write(whose, false, [whose](IntfCleanupBacklog& backlog) {
        // Where memory was lacking for the request, there is none.
        if (auto const pending = backlog.removeBacklog(whose.intfId, whose.af)) {
            pending->processedIs(true);
        }
    });
    trace9({"cleaning up for {} af {} immediately", "processPendingDeferredCleanup"}, whose.intfId,
           whose.af);
    placement_.cleanUp(whose);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
