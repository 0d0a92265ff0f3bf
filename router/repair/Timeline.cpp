#include "router/repair/Timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Routing {

Timeline::Timeline(Router& router, Supervisor& supervisor, Zin::Ptr<Zin::VirtualClock> clock,
                   Audits audits, Refused refused)
    : router_(router),
      supervisor_(supervisor),
      clock_(std::move(clock)),
      audits_(audits),
      refused_(std::move(refused)) {}

Zin::Seconds Timeline::nextStep() const {
    return std::min({router_.scheduler()->nextExpiry(), supervisor_.nextRepair(), nextAudit()});
}

Zin::Seconds Timeline::nextAudit() const {
    if (audits_ == Audits::inSlices) {
        return supervisor_.nextAuditSlice();
    }
    Zin::Seconds const after = std::max(auditedUntil_, supervisor_.auditIdleUntil());
    Zin::Seconds const next = std::max(std::floor(after) + 1.0, std::ceil(now()));
    return next > after ? next : std::nextafter(after, Velk::never);
}

void Timeline::apply(Effect const& effect) {
    try {
        supervisor_.apply(effect);
    } catch (Zin::Error const& error) {
        refused_(error);
    }
    supervisor_.repair();
}

bool Timeline::advanceToNextStep(Zin::Seconds time) {
    Zin::Seconds const repair = supervisor_.nextRepair();
    Zin::Seconds const nextAudit = this->nextAudit();
    clock_->nowIs(std::min({router_.scheduler()->nextExpiry(), repair, nextAudit, time}));
    if (runNextTask()) {
        return true;
    }
    if (repair <= now()) {
        supervisor_.repair();
        return true;
    }
    if (nextAudit <= now()) {
        audit(nextAudit);
        return true;
    }
    auditedUntil_ = std::max(auditedUntil_, std::floor(now()));
    return false;
}

void Timeline::audit(Zin::Seconds time) {
    if (audits_ == Audits::inSlices) {
        supervisor_.auditSlice();
    } else {
        auditedUntil_ = time;
        supervisor_.audit();
    }
}

bool Timeline::runNextTask() {
    try {
        return supervisor_.runNextTask();
    } catch (Zin::Error const& error) {
        refused_(error);
        return true;
    }
}

void Timeline::advanceTo(Zin::Seconds time) {
    while (advanceToNextStep(time)) {
    }
}

}  // namespace Routing
