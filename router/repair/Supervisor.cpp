#include "router/repair/Supervisor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
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

    // Until it is stopped, notes what replacing the table of this VRF comes to.
    void watchReplacement(L3::VrfName const& vrf) { watched_ = vrf; }
    Difference<IpLib::IntfAddrEntryContent> stopWatching() {
        watched_ = {};
        return std::exchange(replaced_, {});
    }

private:
    void handleReplacement(L3::VrfName const& vrf, TableDifference const& difference) override {
        if (vrf == watched_) {
            replaced_ = difference.rows;
        }
    }
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool /*present*/) override {
        supervisor_.vrf(vrf).faults.handleRow(row);
    }
    void handleLinkLocalFromIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                 bool /*present*/) override {
        supervisor_.vrf(vrf).faults.handleLinkLocal(intf);
    }
    void handleSetFromSubnet(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet,
                             bool /*present*/) override {
        supervisor_.vrf(vrf).faults.handleSet(subnet);
    }

    Supervisor& supervisor_;
    L3::VrfName watched_{};
    Difference<IpLib::IntfAddrEntryContent> replaced_{};
};

Supervisor::Supervisor(Router& router, RepairObserver* observer, Options const& options)
    : router_(router),
      observer_(observer),
      patience_(std::max(router.config().deferredIntfAddDelay, 0.0) + 1.0),
      follower_(tableFollowerFactory(router.tables())),
      history_(router, options.recordedOperations),
      watcher_(std::make_unique<TableWatcher>(*this)) {
    router_.inputs().effects().observerAdd(*this);
}

Supervisor::~Supervisor() { router_.inputs().effects().observerDel(*this); }

Supervisor::Vrf& Supervisor::vrf(L3::VrfName const& name) {
    return vrfs_.try_emplace(name, patience_).first->second;
}

void Supervisor::handleOperation(Operation const& operation) {
    history_.record(operation);
    if (router_.inputs().isSet(operation)) {
        return;
    }
    Zin::Seconds const now = router_.scheduler()->now();
    std::visit(
        [&](auto const& op) {
            using Op = std::remove_cvref_t<decltype(op)>;
            if constexpr (requires { op.vrf; }) {
                Vrf& changed = vrf(op.vrf);
                changed.faults.handleOperation(operation);
                changed.health.inputChanges(now);
                if constexpr (std::is_same_v<Op, TableAdd> || std::is_same_v<Op, TableDel>) {
                    changed.faults.clear();
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
    ++counts_.tasks;
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
        // Those who are told of one repair may have changed what there is to do for the next.
        Vrf& owed = vrf(name);
        if (!router_.tables()->intfAddrVrfTable(name)) {
            owed.health.forgiven();
        } else if (router_.managerRuns() && owed.health.degraded()) {
            rebuild(name, owed.health.why(), owed.reason, counts_.afterFailures);
        }
    }
}

void Supervisor::rebuild(L3::VrfName const& name, std::string why, std::string reason,
                         std::uint64_t& count) {
    Recording const recording = history_.recording();
    Zin::Seconds const began = router_.scheduler()->now();
    auto rebuilt = tryRebuild(name);
    Zin::Seconds const ended = router_.scheduler()->now();
    changed_ = true;
    Vrf& itsVrf = vrf(name);
    if (!rebuilt.isDone) {
        if (router_.managerRuns()) {
            itsVrf.health.forgiven();  // somebody has put another table there
        }
        return;
    }
    itsVrf.health.rebuilt(ended, ended - began,
                          rebuilt.failure ? std::optional(rebuilt.failure->message) : std::nullopt);
    if (rebuilt.failure) {
        itsVrf.reason = rebuilt.failure->reason;
        silence(router_.tableSm(name));
    }
    ++byReason_[reason];
    ++count;
    trace<1>("vrf {} was rebuilt in {} s: {}", name, ended - began, why);
    lastRepairs_.push_back({.vrf = name,
                            .why = std::move(why),
                            .at = ended,
                            .took = ended - began,
                            .recording = recording});
    if (lastRepairs_.size() > keptRepairs) {
        lastRepairs_.pop_front();
    }
    if (observer_) {
        std::ranges::sort(rebuilt.rows.come);
        std::ranges::sort(rebuilt.rows.gone);
        observer_->handleRepair(lastRepairs_.back(), rebuilt.rows.come, rebuilt.rows.gone);
    }
}

Supervisor::Rebuilt Supervisor::tryRebuild(L3::VrfName const& name) {
    Rebuild rebuild(router_, name);
    Rebuilt rebuilt;
    auto const ofThis = [&](Failure const& failure) { return failure.vrf == name; };
    watcher_->watchReplacement(name);
    try {
        Zin::FaultDomain const domain(name.bytes());
        Zin::Turn turn;
        turn.run([&] { rebuild.takeAway(); });
        // The old machine has gone, whatever failed in its teardown.
        std::erase_if(failures_, ofThis);
        turn.run([&] { rebuilt.isDone = rebuild.put(); });
    } catch (Pell::AssertionError const&) {
    } catch (...) {
        trace<1>({"vrf {}: {}, while it was rebuilt", "rebuild"}, name,
                 Zin::textOf(std::current_exception()));
    }
    rebuilt.rows = watcher_->stopWatching();
    if (auto const found = std::ranges::find_if(failures_, ofThis); found != failures_.end()) {
        rebuilt.failure = *found;
    }
    std::erase_if(failures_, ofThis);
    noteFailures();
    return rebuilt;
}

bool Supervisor::degraded(L3::VrfName const& name) const {
    auto const found = vrfs_.find(name);
    return found != vrfs_.end() && found->second.health.degraded();
}

bool Supervisor::isAudited(L3::VrfName const& name) const {
    return router_.tables()->intfAddrVrfTable(name) && !degraded(name);
}

AuditPass::BookOf Supervisor::booksOfAudited() {
    return
        [this](L3::VrfName const& name) { return isAudited(name) ? &vrf(name).faults : nullptr; };
}

void Supervisor::audit() {
    if (!router_.managerRuns()) {
        return;
    }
    changed_ = false;
    AuditPass pass(router_, booksOfAudited());
    while (pass.step()) {
    }
    passEnds(pass);
}

void Supervisor::passEnds(AuditPass& pass) {
    auditedAt_ = router_.scheduler()->now();
    std::erase_if(vrfs_, [this](auto const& member) {
        return !router_.tables()->intfAddrVrfTable(member.first);
    });
    for (auto& [name, state] : vrfs_) {
        state.nextOverdue = Velk::never;
        if (!isAudited(name)) {
            state.faults.clear();
        }
    }
    auto const whole = pass.whole();
    for (auto const& [name, nextOverdue] : whole) {
        Vrf& audited = vrf(name);
        audited.nextOverdue = nextOverdue;
        for (Fault const& fault : audited.faults.auditEnds()) {
            trace<1>({"vrf {}: a rebuild has not changed this: {}", "audit"}, name, fault.toText());
            ++byReason_[fmt::format("not repaired: {}", Fault::nameOf(fault.kind))];
            ++counts_.inVain;
        }
    }
    for (auto const& [name, nextOverdue] : whole) {
        // Those who are told of one repair may have changed what there is to do for the next.
        if (router_.managerRuns() && isAudited(name)) {
            repairFaults(name);
        }
    }
}

void Supervisor::repairFaults(L3::VrfName const& name) {
    Zin::Seconds const now = router_.scheduler()->now();
    Vrf& audited = vrf(name);
    auto const due = audited.faults.due(now);
    if (!due.empty() && now >= audited.health.restedFrom()) {
        audited.faults.repaired(now);
        rebuild(name, textOf(due), std::string(Fault::nameOf(due.front().kind)),
                counts_.afterAudits);
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
        slicedPass_ = nullptr;
        return false;
    }
    auto const began = std::chrono::steady_clock::now();
    if (!slicedPass_) {
        if (now < nextPass_) {
            return false;
        }
        slicedPass_ = std::make_unique<AuditPass>(router_, booksOfAudited());
        passBegan_ = now;
        passTook_ = {};
    }
    slicedPass_->dropVoid();
    bool isOver = false;
    std::chrono::nanoseconds took{};
    do {
        for (int step = 0; step < stepsBetweenLooks && !isOver; ++step) {
            isOver = !slicedPass_->step();
        }
        took = std::chrono::steady_clock::now() - began;
    } while (!isOver && took < duration);
    passTook_ += took;
    if (isOver) {
        std::chrono::duration<double> const spent = passTook_;
        nextPass_ = std::ceil(passBegan_ + std::max(auditPeriod, spent.count() / auditShare));
        auto const pass = std::move(slicedPass_);
        passEnds(*pass);
    }
    return true;
}

Zin::Seconds Supervisor::nextAuditSlice() const {
    if (!router_.managerRuns()) {
        return Velk::never;
    }
    return slicedPass_ ? nextSlice_ : std::max(nextSlice_, nextPass_);
}

}  // namespace Routing
