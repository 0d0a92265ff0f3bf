#include "IpLib/IntfAddrVrfTableSm/IntfCleanupSm.h"

#include "Velk/Dump.h"

namespace IpLib::IntfAddrVrfTableImpl {
void IntfCleanupSm::handleInitialized() {
    taskIs(scheduler_, smConfig_.taskPriority, "IntfCleanup-VRF-" + vrfName_.bytes());
}

void IntfCleanupSm::maybeScheduleTask() {
    if (!task()) {
        return;
    }
    task()->scheduleTaskLowestDelay(smConfig_.delay);
    trace8("task is scheduled to run in {} seconds",
           task()->currentExpirationTime() - scheduler_->now());
}

void IntfCleanupSm::handleTaskRun() {
    if (!task() || !task()->taskCurrentlyRunning()) {
        return;
    }
    Zin::FaultDomain const domain(vrfName_.bytes());
    Zin::Seconds const now = scheduler_->now();
    trace8("starting backlog processing at {} with {} items in queue", now,
           backlog_->backlogQueue().size());

    std::uint32_t handled = 0;
    while (auto const front = backlog_->backlogQueueFront()) {
        if (smConfig_.delay > now - front->emplacementTime()) {
            waitFor(*front, now);
            finishPass(handled);
            return;
        }
        if (backlog_->backlogQueueDeq() != front) {
            fail("dequeued == front", "invalid entry in queue for {} af {}", front->intfId(),
                 front->af());
        }
        if (front->processed()) {
            passOver(*front);
        } else {
            carryOut(*front);
        }
        ++handled;
        if (!task()) {
            return;  // an observer of the table has brought this machine down
        }
        if (task()->taskShouldYield()) {
            trace8("yielding with {} items remaining", backlog_->backlogQueue().size());
            task()->scheduleTask();
            finishPass(handled);
            return;
        }
    }
    trace9("backlog queue is empty");
    finishPass(handled);
}

void IntfCleanupSm::carryOut(IntfCleanupEntry const& front) {
    auto const removed = backlog_->backlogDel(front.key());
    if (removed.get() != &front) {
        fail("removed == front",
             {"invalid entry in backlog for {} af {} ptr {} != ptr {}", "handleTaskRun"},
             front.intfId(), front.af(), removed, Zin::Ptr<IntfCleanupEntry const>(&front));
    }
    parent_->processCleanupIntf(front.intfId(), front.af());
}

void IntfCleanupSm::passOver(IntfCleanupEntry const& front) const {
    auto const later = backlog_->backlog(front.key());
    if (!later) {
        return;
    }
    if (later.get() == &front) {
        fail("later != front", {"invalid backlog entry for {} af {}", "handleTaskRun"},
             front.intfId(), front.af());
    }
    if (later->emplacementTime() < front.emplacementTime()) {
        fail("later.emplacementTime >= front.emplacementTime",
             {"invalid backlog entry for {} af {} emplacementTime {} < {}", "handleTaskRun"},
             front.intfId(), front.af(), later->emplacementTime(), front.emplacementTime());
    }
}

void IntfCleanupSm::waitFor(IntfCleanupEntry const& front, Zin::Seconds now) {
    Zin::Seconds const remaining = smConfig_.delay - (now - front.emplacementTime());
    if (!(remaining > 0.0)) {
        fail("remaining > 0.0", {"delay {} is not supposed to be less than 0", "handleTaskRun"},
             remaining);
    }
    task()->scheduleTaskDelay(remaining);
    trace8({"queue front cannot be processed for {} seconds", "handleTaskRun"}, remaining);
}

void IntfCleanupSm::finishPass(std::uint32_t handled) {
    std::uint32_t const left = backlog_->backlogQueue().size();
    if (left > 0 && !task()->taskScheduled()) {
        fail("taskScheduled || queue empty",
             {"task not rescheduled even though {} items remain in the backlog queue",
              "handleTaskRun"},
             left);
    }
    task()->taskWorkPendingIs(left);
    task()->taskWorkCountInc(handled);
}

void IntfCleanupSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                              std::uint32_t indent) const {
    Velk::dumpLine(context, indent, "IntfCleanupSm VRF={} with delay {}\n", vrfName_,
                   wholeSeconds(smConfig_));
    dumpTask(context, indent);
}

Zin::Ptr<IntfCleanupSm> intfCleanupSmFactory(IntfCleanupSmConfig const& smConfig,
                                             Zin::Ptr<IntfCleanupParentInterface> const& parent,
                                             Zin::Ptr<IntfCleanupBacklog> const& backlog,
                                             L3::VrfName const& vrfName,
                                             Zin::Ptr<Velk::TaskScheduler> const& scheduler) {
    return Zin::make<IntfCleanupSm>(smConfig, parent, backlog, vrfName, scheduler);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
