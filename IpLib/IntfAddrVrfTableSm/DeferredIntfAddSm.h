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
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DelayedTaskConfig.h"
#include "L3/VrfName.h"
#include "Pell/Traced.h"
#include "Velk/OwnedTask.h"

namespace IpLib::IntfAddrVrfTableImpl {

class DeferredIntfAddSm final : public Zin::Entity, private Pell::Traced<"DeferredIntfAddSm"> {
public:
    DeferredIntfAddSm(DeferredIntfAddSmConfig const& smConfig,
                      Zin::Ptr<DeferredIntfAddParentInterface> parent,
                      Zin::Ptr<DeferredIntfAddBacklog> backlog, L3::VrfName vrfName,
                      Zin::Ptr<Velk::TaskScheduler> scheduler);

    DeferredIntfAddSmConfig const& smConfig() const { return smConfig_; }
    Zin::Ptr<Velk::TimerTask> const& task() const { return task_(); }
    // Where the next pass is to go on.
    std::optional<IntfAddrWithMaskKey> const& bookmark() const { return bookmark_; }
    // Whether a pass that leaves keys behind is to be followed by another.
    bool rescheduleWhenComplete() const { return rescheduleWhenComplete_; }
    bool builtFrom(DeferredIntfAddSmConfig const& smConfig,
                   Zin::Ptr<DeferredIntfAddParentInterface> const& parent,
                   Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
                   Zin::Ptr<Velk::TaskScheduler> const& scheduler) const;

    void hasNotificationActiveIs(bool active) override;
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    Zin::Ptr<Velk::TimerTask> const& taskIs(Zin::Ptr<Velk::TaskScheduler> const& scheduler,
                                            Velk::TaskPriority priority, std::string const& name) {
        return task_.is(scheduler, priority, name);
    }
    void taskDel() { task_.del(); }

    // Something may have made an add possible: a key has come to wait, or a row has left the table.
    void maybeScheduleTask();
    // One pass over the backlog.
    void handleTaskRun();

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    void yieldAt(IntfAddrWithMaskKey const& key, std::uint32_t handled);
    void finishPass(std::uint32_t handled);
    void report(std::uint32_t handled);

    DeferredIntfAddSmConfig const smConfig_;
    Zin::Ptr<DeferredIntfAddParentInterface> const parent_;
    Zin::Ptr<DeferredIntfAddBacklog> const backlog_;
    L3::VrfName const vrfName_;
    Zin::Ptr<Velk::TaskScheduler> const scheduler_;
    std::optional<IntfAddrWithMaskKey> bookmark_;
    bool rescheduleWhenComplete_ = false;
    Velk::OwnedTask<DeferredIntfAddSm> task_{*this};
};

Zin::Ptr<DeferredIntfAddSm> deferredIntfAddSmFactory(
    DeferredIntfAddSmConfig const& smConfig, Zin::Ptr<DeferredIntfAddParentInterface> const& parent,
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
    Zin::Ptr<Velk::TaskScheduler> const& scheduler);

}  // namespace IpLib::IntfAddrVrfTableImpl
