#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"

#include "Tremlog/Record.h"
#include "Velk/Dump.h"

namespace IpLib::IntfAddrVrfTableImpl {
void DeferredIntfAddSm::handleInitialized() {
    taskIs(scheduler_, smConfig_.taskPriority, "DeferredIntfAdd-VRF-" + vrfName_.bytes());
}

void DeferredIntfAddSm::maybeScheduleTask() {
    trace8("backlog count is {}", backlog_->backlog().size());
    if (backlog_->backlog().empty() || !task()) {
        return;
    }
    // A key that comes while the task is armed may miss that pass: another one follows it.
    rescheduleWhenComplete_ = task()->taskScheduled();
    task()->scheduleTaskLowestDelay(smConfig_.delay);
    trace8("task is scheduled to run in {} seconds",
           task()->currentExpirationTime() - scheduler_->now());
}

void DeferredIntfAddSm::handleTaskRun() {
    if (!task() || !task()->taskCurrentlyRunning()) {
        return;
    }
    Zin::FaultDomain const domain(vrfName_.bytes());
    auto const& backlog = backlog_->backlog();
    trace8("starting work with {} backlog entries to be processed", backlog.size());
    trace9("bookmark hasValue {} value {}", bookmark_.has_value(),
           bookmark_.value_or(IntfAddrWithMaskKey()));
    Tremlog::record<"starting work with {} backlog entries to be processed">(backlog.size());

    // A bookmarked key that has left the backlog says nothing about the others.
    bool const resumes = bookmark_ && backlog.contains(*bookmark_);
    auto next = resumes ? backlog.from(*bookmark_) : backlog.begin();
    bookmark_.reset();

    std::uint32_t handled = 0;
    for (; next != backlog.end(); ++next) {
        IntfAddrWithMaskKey const key = next->key;
        if (handled > 0 && task()->taskShouldYield()) {
            yieldAt(key, handled);
            return;
        }
        parent_->processDeferredIntfAdd(key);
        ++handled;
        if (!task()) {
            return;  // an observer of the table has brought this machine down
        }
    }
    finishPass(handled);
}

void DeferredIntfAddSm::yieldAt(IntfAddrWithMaskKey const& key, std::uint32_t handled) {
    bookmark_ = key;
    trace8({"yielding at {} with {} items pending and {} items processed", "handleTaskRun"}, key,
           backlog_->backlog().size(), handled);
    report(handled);
    task()->scheduleTask();
}

void DeferredIntfAddSm::finishPass(std::uint32_t handled) {
    std::uint32_t const left = backlog_->backlog().size();
    Tremlog::record<"finished work with {} backlog entries remaining">(left);
    report(handled);
    if (left == 0) {
        trace8({"work complete", "handleTaskRun"});
    } else if (rescheduleWhenComplete_) {
        task()->scheduleTaskDelay(smConfig_.delay);
        rescheduleWhenComplete_ = false;
        trace8({"rescheduling with {} items remaining in the backlog", "handleTaskRun"}, left);
    } else {
        trace8({"idling timer with {} items remaining in the backlog", "handleTaskRun"}, left);
    }
}

void DeferredIntfAddSm::report(std::uint32_t handled) {
    task()->taskWorkPendingIs(backlog_->backlog().size());
    task()->taskWorkCountInc(handled);
}

void DeferredIntfAddSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                  std::uint32_t indent) const {
    // Promised without its "Add".
    Velk::dumpLine(context, indent, "DeferredIntfSm VRF={} with delay {}\n", vrfName_,
                   wholeSeconds(smConfig_));
    Velk::dumpLine(context, indent, "bookmark is {}\n",
                   bookmark_ ? bookmark_->toStrep() : std::string());
    dumpTask(context, indent);
}

Zin::Ptr<DeferredIntfAddSm> deferredIntfAddSmFactory(
    DeferredIntfAddSmConfig const& smConfig, Zin::Ptr<DeferredIntfAddParentInterface> const& parent,
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog, L3::VrfName const& vrfName,
    Zin::Ptr<Velk::TaskScheduler> const& scheduler) {
    return Zin::make<DeferredIntfAddSm>(smConfig, parent, backlog, vrfName, scheduler);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
