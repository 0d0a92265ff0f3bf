// Tries again, some time after something has changed, to admit the addresses of one VRF that wait.
//
//   in     DeferredIntfAddBacklog: the keys that wait
//   out    the parent: processDeferredIntfAdd, one call for each key
//   timer  task "DeferredIntfAdd-VRF-NAME": armed when a key has come to wait or a row has left
//
//     idle --maybeScheduleTask--> armed --delay over--> running --end--> idle, or armed again if
//                                              ^--yield--'               keys remain and another
//                                                                        pass was asked for
//
// A pass walks the backlog from its front, or from the key at which it gave way to the scheduler
// (the bookmark). Keys that are still in conflict stay, and wait for the next change.
//
// Owned by the VRF's machine.
#pragma once

#include <optional>

#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddParent.h"
#include "IpLib/IntfAddrVrfTableSm/DelayedTaskSm.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "Pell/Traced.h"

namespace IpLib::IntfAddrVrfTableImpl {

class DeferredIntfAddSm final
    : public DelayedTaskSm<DeferredIntfAddSmConfig, DeferredIntfAddParentInterface,
                           DeferredIntfAddBacklog>,
      private Pell::Traced<"DeferredIntfAddSm"> {
public:
    using DelayedTaskSm::DelayedTaskSm;

    // Where the next pass is to go on.
    std::optional<IntfAddrWithMaskKey> const& bookmark() const { return bookmark_; }
    // Whether a pass that leaves keys behind is to be followed by another.
    bool rescheduleWhenComplete() const { return rescheduleWhenComplete_; }

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    // Something may have made an add possible: a key has come to wait, or a row has left the table.
    void maybeScheduleTask();
    // One pass over the backlog.
    void handleTaskRun() override;

protected:
    void handleInitialized() override;

private:
    void yieldAt(IntfAddrWithMaskKey const& key, std::uint32_t handled);
    void finishPass(std::uint32_t handled);
    void report(std::uint32_t handled);

    std::optional<IntfAddrWithMaskKey> bookmark_;
    bool rescheduleWhenComplete_ = false;
};

Zin::Ptr<DeferredIntfAddSm> deferredIntfAddSmFactory(
    DeferredIntfAddSmConfig const& smConfig, Zin::Ptr<DeferredIntfAddParentInterface> const& parent,
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
    Zin::Ptr<Velk::TaskScheduler> const& scheduler);

}  // namespace IpLib::IntfAddrVrfTableImpl
