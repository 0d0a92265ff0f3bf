#include "router/repair/Supervisor.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "Zin/Turn.h"
#include "router/repair/Rebuild.h"

namespace Routing {

namespace {

constexpr std::size_t keptRepairs = 4;
constexpr Zin::Seconds auditPeriod = 1.0;
// An audit takes no more than this part of the time.
constexpr double auditShare = 0.1;
constexpr Zin::Seconds sliceUnderLoad = 0.1;

std::string textOf(std::vector<Fault> const& faults) {
    std::string const first = faults.front().toText();
    return faults.size() == 1 ? first : fmt::format("{}; and {} more", first, faults.size() - 1);
}

}  // namespace

// What comes into a table, and what leaves it, starts the ages of its faults anew; and a rebuild
// has done what the replacement comes to.
class Supervisor::TableWatcher final : public TableFollower::Notifiee {
public:
    explicit TableWatcher(Supervisor& supervisor) : supervisor_(supervisor) {
        notifierIs(supervisor.follower_);
    }

    // What replacing the table of this VRF has come to.
    L3::VrfName rebuilt{};
    Difference<IpLib::IntfAddrEntryContent> replaced{};

private:
    void handleReplacement(L3::VrfName const& name, TableDifference const& difference) override {
        if (name == rebuilt) {
            replaced = difference.rows;
        }
    }
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool /*present*/) override {
        supervisor_.vrf(vrf).faults.handleRow(row.key.addr);
    }
    void handleSetFromSubnet(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet,
                             bool /*present*/) override {
        supervisor_.vrf(vrf).faults.handleSet(subnet);
    }

    Supervisor& supervisor_;
};

Supervisor::Supervisor(Router& router, RepairObserver* observer, Options const& options)
    : router_(router),
      observer_(observer),
      patience_(std::max(router.config().deferredIntfAddDelay, 0.0) + 1.0),
      follower_(tableFollowerFactory(router.tables())),
      history_(router, options.recordedOperations),
      watcher_(std::make_unique<TableWatcher>(*this)) {
    router_.inputs().effects().observerIs(this);
}

Supervisor::~Supervisor() { router_.inputs().effects().observerIs(nullptr); }

Supervisor::Vrf& Supervisor::vrf(L3::VrfName const& name) {
    return vrfs_.try_emplace(name, patience_).first->second;
}

void Supervisor::handleOperation(Operation const& operation) {
    history_.record(operation);
    Zin::Seconds const now = router_.scheduler()->now();
    std::visit(
        [&](auto const& op) {
            using Op = std::remove_cvref_t<decltype(op)>;
            if constexpr (requires { op.vrf; }) {
                Vrf& changed = vrf(op.vrf);
                changed.faults.handleOperation(operation);
                changed.health.inputChanges(now);
                if constexpr (std::is_same_v<Op, TableAdd> || std::is_same_v<Op, TableDel>) {
                    changed.health.forgiven();
                }
            } else {
                for (auto& [name, changed] : vrfs_) {
                    changed.faults.clear();
                    changed.health.inputChanges(now);
                    if constexpr (std::is_same_v<Op, ManagerStart>) {
                        changed.health.restarted(now);
                    }
                }
            }
        },
        operation);
}

void Supervisor::handleFailure(Pell::AssertionFailure const& failure) {
    failures_.push_back({.vrf = failure.domain,
                         .message = std::string(failure.message),
                         .reason = fmt::format("{}::{}", failure.className, failure.function)});
}

void Supervisor::contain(std::function<void()> const& step) {
    changed_ = true;
    try {
        step();
    } catch (Pell::AssertionError const&) {
    } catch (...) {
        noteFailures();
        throw;
    }
    noteFailures();
}

bool Supervisor::runNextTask() {
    auto& scheduler = *router_.scheduler();
    if (scheduler.nextExpiry() > scheduler.now()) {
        return false;
    }
    history_.tasksRan();
    contain([&] { scheduler.runNext(scheduler.now()); });
    return true;
}

void Supervisor::noteFailures() {
    Zin::Seconds const now = router_.scheduler()->now();
    for (auto& [name, message, reason] : std::exchange(failures_, {})) {
        if (!router_.tables()->intfAddrVrfTable(name)) {
            trace<1>("an invariant failed outside of all tables: {}", message);
            ++byReason_[reason];
            continue;
        }
        Vrf& failed = vrf(name);
        if (!failed.health.degraded()) {
            failed.health.failed(message, now);
            failed.reason = reason;
            failed.faults.clear();
        }
        silence(router_.tableSm(name));
    }
}

Zin::Seconds Supervisor::nextRepair() const {
    Zin::Seconds next = Velk::never;
    if (router_.managerRuns()) {
        for (auto const& [name, state] : vrfs_) {
            next = std::min(next, state.health.due());
        }
    }
    return next;
}

void Supervisor::repair() {
    if (!router_.managerRuns()) {
        return;
    }
    std::vector<L3::VrfName> due;
    for (auto const& [name, state] : vrfs_) {
        if (state.health.due() <= router_.scheduler()->now()) {
            due.push_back(name);
        }
    }
    for (auto const& name : due) {
        if (router_.tables()->intfAddrVrfTable(name)) {
            rebuild(name, vrf(name).health.why(), vrf(name).reason);
        } else {
            vrf(name).health.forgiven();
        }
    }
}

void Supervisor::rebuild(L3::VrfName const& name, std::string const& why,
                         std::string const& reason) {
    std::string const itsWhy = why;  // which may change meanwhile
    Recording const recording = history_.recording();
    Zin::Seconds const began = router_.scheduler()->now();
    Difference<IpLib::IntfAddrEntryContent> changed;
    auto const failure = tryRebuild(name, changed);
    Zin::Seconds const ended = router_.scheduler()->now();
    changed_ = true;
    vrf(name).health.rebuilt(ended, ended - began, failure);
    if (failure) {
        silence(router_.tableSm(name));
    }
    ++byReason_[reason];
    trace<1>("vrf {} was rebuilt in {} s: {}", name, ended - began, itsWhy);
    lastRepairs_.push_back(
        {.vrf = name, .why = itsWhy, .at = ended, .took = ended - began, .recording = recording});
    if (lastRepairs_.size() > keptRepairs) {
        lastRepairs_.pop_front();
    }
    if (observer_) {
        std::ranges::sort(changed.come);
        std::ranges::sort(changed.gone);
        observer_->handleRepair(lastRepairs_.back(), changed.come, changed.gone);
    }
}

// Returns the failure of an invariant, of this VRF's new machine. Those of others are noted.
std::optional<std::string> Supervisor::tryRebuild(
    L3::VrfName const& name, Difference<IpLib::IntfAddrEntryContent>& changed) {
    Rebuild rebuild(router_, name);
    watcher_->rebuilt = name;
    auto const ofThis = [&](Failure const& failure) { return failure.vrf == name; };
    try {
        Zin::Turn turn;
        turn.run([&] { rebuild.prepare(); });
        turn.run([&] { rebuild.takeAway(); });
        // The old machine has gone, whatever failed in its teardown.
        std::erase_if(failures_, ofThis);
        turn.run([&] { rebuild.put(); });
    } catch (Pell::AssertionError const&) {
    } catch (std::exception const& error) {
        trace<1>({"vrf {}: {}, while it was rebuilt", "rebuild"}, name, error.what());
    }
    changed = std::exchange(watcher_->replaced, {});
    std::optional<std::string> failure;
    if (auto const found = std::ranges::find_if(failures_, ofThis); found != failures_.end()) {
        failure = found->message;
    }
    std::erase_if(failures_, ofThis);
    noteFailures();
    return failure;
}

bool Supervisor::degraded(L3::VrfName const& name) const {
    auto const found = vrfs_.find(name);
    return found != vrfs_.end() && found->second.health.degraded();
}

bool Supervisor::isAudited(L3::VrfName const& name) const {
    return router_.tables()->intfAddrVrfTable(name) && !degraded(name);
}

void Supervisor::audit() {
    if (!router_.managerRuns()) {
        return;
    }
    changed_ = false;
    std::erase_if(vrfs_, [this](auto const& member) {
        return !router_.tables()->intfAddrVrfTable(member.first);
    });
    for (auto& [name, state] : vrfs_) {
        state.nextOverdue = Velk::never;
        if (!isAudited(name)) {
            state.faults.clear();
        }
    }
    for (auto const& name : router_.vrfs()) {
        if (isAudited(name)) {
            Audit audit(router_, name, vrf(name).faults);
            while (audit.step()) {
            }
            auditEnds(name, audit);
        }
    }
}

void Supervisor::auditEnds(L3::VrfName const& name, Audit const& audit) {
    Vrf& audited = vrf(name);
    audited.nextOverdue = audit.nextOverdue();
    for (Fault const& fault : audited.faults.auditEnds()) {
        trace<1>({"vrf {}: a rebuild has not changed this: {}", "audit"}, name, fault.toText());
        ++byReason_[fmt::format("not repaired: {}", Fault::nameOf(fault.kind))];
    }
    repairFaults(name);
}

void Supervisor::repairFaults(L3::VrfName const& name) {
    Zin::Seconds const now = router_.scheduler()->now();
    Vrf& audited = vrf(name);
    auto const due = audited.faults.due(now);
    if (!due.empty() && now >= audited.health.restedFrom()) {
        audited.faults.repaired(now);
        rebuild(name, textOf(due), std::string(Fault::nameOf(due.front().kind)));
    }
}

Zin::Seconds Supervisor::auditIdleUntil() const {
    if (!router_.managerRuns()) {
        return Velk::never;
    }
    if (changed_) {
        return -std::numeric_limits<Zin::Seconds>::infinity();
    }
    Zin::Seconds idle = Velk::never;
    for (auto const& [name, state] : vrfs_) {
        Zin::Seconds const due = state.faults.nextDue();
        if (due < Velk::never) {
            idle = std::min(idle, std::max(due, state.health.restedFrom()));
        }
        idle = std::min(idle, state.nextOverdue);
    }
    return idle;
}

bool Supervisor::auditSlice(std::chrono::nanoseconds duration) {
    constexpr int stepsBetweenLooks = 16;
    Zin::Seconds const now = router_.scheduler()->now();
    nextSlice_ = now + sliceUnderLoad;
    if (!router_.managerRuns()) {
        slicedAudit_ = nullptr;
        toAudit_.clear();
        return false;
    }
    if (!slicedAudit_ && toAudit_.empty()) {
        if (now < nextPass_) {
            return false;
        }
        passBegan_ = now;
        toAudit_ = router_.vrfs();
        std::ranges::reverse(toAudit_);
    }
    if (slicedAudit_ && !slicedAudit_->isStanding()) {
        slicedAudit_ = nullptr;  // begins anew, with another table
    }
    auto const end = std::chrono::steady_clock::now() + duration;
    do {
        if (!slicedAudit_) {
            if (toAudit_.empty()) {
                break;
            }
            L3::VrfName const name = toAudit_.back();
            if (!isAudited(name)) {
                toAudit_.pop_back();
                continue;
            }
            slicedAudit_ = std::make_unique<Audit>(router_, name, vrf(name).faults);
        }
        for (int step = 0; step < stepsBetweenLooks && slicedAudit_; ++step) {
            if (!slicedAudit_->step()) {
                L3::VrfName const name = toAudit_.back();
                toAudit_.pop_back();
                auto const ended = std::move(slicedAudit_);
                auditEnds(name, *ended);
            }
        }
    } while (std::chrono::steady_clock::now() < end);
    if (!slicedAudit_ && toAudit_.empty()) {
        Zin::Seconds const took = router_.scheduler()->now() - passBegan_;
        nextPass_ = passBegan_ + std::max(auditPeriod, took / auditShare);
    }
    return true;
}

Zin::Seconds Supervisor::nextAuditSlice() const {
    if (!router_.managerRuns()) {
        return Velk::never;
    }
    return slicedAudit_ || !toAudit_.empty() ? nextSlice_ : std::max(nextSlice_, nextPass_);
}

}  // namespace Routing
