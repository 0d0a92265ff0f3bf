// Carries out the clean-ups of one VRF once they have waited for the delay, oldest request first.
//
//   in     IntfCleanupBacklog: requests, in the order of their times
//   out    the parent: processCleanupIntf, one call for each request that is due
//   timer  task "IntfCleanup-VRF-NAME": armed while a request waits, for when the oldest is due
//
//     no request --request--> waiting --delay over--> carried out
//                                '---------carried out early, passed over when due
//
// A pass reads the clock once, works until the front of the queue is not yet due, and gives way to
// the scheduler after any item when asked to.
//
// Owned by the VRF's machine; there is none where the delay is zero. Requests still pending when it
// goes are dropped.
#pragma once

#include "IpLib/IntfAddrVrfTableSm/DelayedTaskSm.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupParent.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"
#include "Pell/Traced.h"

namespace IpLib::IntfAddrVrfTableImpl {

class IntfCleanupSm final
    : public DelayedTaskSm<IntfCleanupSmConfig, IntfCleanupParentInterface, IntfCleanupBacklog>,
      private Pell::Traced<"IntfCleanupSm"> {
public:
    using DelayedTaskSm::DelayedTaskSm;

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    // A request has been added: the task runs when it is due, or sooner if it was to anyway.
    void maybeScheduleTask();
    // One pass over the queue.
    void handleTaskRun() override;

protected:
    void handleInitialized() override;

private:
    // One entry that has been dequeued.
    void carryOut(IntfCleanupEntry const& front);
    void passOver(IntfCleanupEntry const& front) const;
    // Puts the task off to the time when the front is due.
    void waitFor(IntfCleanupEntry const& front, Zin::Seconds now);
    void finishPass(std::uint32_t handled);
};

Zin::Ptr<IntfCleanupSm> intfCleanupSmFactory(IntfCleanupSmConfig const& smConfig,
                                             Zin::Ptr<IntfCleanupParentInterface> const& parent,
                                             Zin::Ptr<IntfCleanupBacklog> const& backlog,
                                             L3::VrfName const& vrfName,
                                             Zin::Ptr<Velk::TaskScheduler> const& scheduler);

}  // namespace IpLib::IntfAddrVrfTableImpl
