// Keeps the tables of a router right: contains what fails in one VRF, audits all of them, and
// rebuilds the one that went wrong.
//
//   in     what is done to the router, done through contain(); each failed invariant, from the
//          assertion handler of the router's owner, which throws (Pell/Assertion.h)
//   out    the repairs, told to the observer, traced at level 1, counted by reason; what followers
//          are told of the tables (TableFollower.h); what led to each repair (OperationHistory.h)
//   time   whoever runs the router asks when the next repair is due, and gives audits their slices
//
// A VRF in which an invariant failed is degraded until it has been rebuilt (VrfHealth.h): what is
// published is kept, its table stands as it is, and its machine is silent. All other VRFs go on.
// What an audit finds and what stays is rebuilt too (FaultBook.h).
//
// While the manager does not run nothing is audited or rebuilt; what is owed is done when it
// starts.
//
//     void handleFailure(Pell::AssertionFailure const& failure) {  // the owner's assertion handler
//         supervisor->handleFailure(failure);
//         throw Pell::AssertionError(failure);
//     }
//     ...
//     supervisor->apply(router.inputs().ipIntfDel(vrf, intf));
//     supervisor->repair();
//
// Made before the router has tables and runs, and goes before it; borrows it.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Pell/Assertion.h"
#include "Pell/Traced.h"
#include "router/Router.h"
#include "router/repair/AuditPass.h"
#include "router/repair/OperationHistory.h"
#include "router/repair/TableFollower.h"
#include "router/repair/VrfHealth.h"

namespace Routing {

// One rebuild.
struct Repair {
    // The VRF that was rebuilt.
    L3::VrfName vrf{};
    // The invariant's message, or what the audit found.
    std::string why{};
    // When it ended and how long it took, on the scheduler's clock.
    Zin::Seconds at = 0.0;
    Zin::Seconds took = 0.0;
    // What led there.
    Recording recording{};
};

// Who is told of repairs, once each is done; borrowed by the supervisor.
class RepairObserver {
public:
    virtual ~RepairObserver() = default;
    // The rows that the repair has brought, and those that it has taken, sorted.
    virtual void handleRepair(Repair const& repair,
                              std::vector<IpLib::IntfAddrEntryContent> const& added,
                              std::vector<IpLib::IntfAddrEntryContent> const& removed) = 0;
};

class Supervisor final : private OperationObserver, private Pell::Traced<"Supervisor"> {
public:
    // What may be chosen.
    struct Options {
        // How many operations are kept, at least, of those that led to a repair.
        std::size_t recordedOperations = 1000;
    };

    explicit Supervisor(Router& router, RepairObserver* observer = nullptr)
        : Supervisor(router, observer, Options()) {}
    // Borrows the router, which is empty yet, and the observer, which may be null.
    Supervisor(Router& router, RepairObserver* observer, Options const& options);
    ~Supervisor() override;
    Supervisor(Supervisor const&) = delete;
    Supervisor& operator=(Supervisor const&) = delete;

    Zin::Ptr<TableFollower> const& follower() const { return follower_; }

    // The assertion handler of the router's owner passes each failure on before it throws.
    void handleFailure(Pell::AssertionFailure const& failure);

    // Does what may change the router: applies an effect, or runs tasks, which `step` says. A
    // failed invariant ends `step`, and here; another error passes.
    void contain(std::function<void()> const& step);
    void apply(Effect const& effect) {
        contain([&] { effect.apply(); });
    }
    // Runs the first task that is due, if there is one. Returns whether there was.
    bool runNextTask();

    // When the next rebuild is due, on the scheduler's clock; never where none is owed.
    Zin::Seconds nextRepair() const;
    // Rebuilds what is due: "default" first, the others in order of their names. Called after each
    // operation, and when the next repair is due.
    void repair();

    // Audits every VRF, and repairs what has stayed wrong for too long.
    void audit();
    // An audit up to this time finds what the last one found, and repairs nothing: -infinity where
    // anything has changed, never where nothing is wrong.
    Zin::Seconds auditIdleUntil() const;

    // Goes on with an audit that is done in slices: for about this long, and a millisecond at most
    // by default, outside of turns; what is to be repaired at its end takes its own time. Returns
    // false where there is nothing to do at present.
    bool auditSlice(std::chrono::nanoseconds duration = std::chrono::microseconds(900));
    // When the next slice is to be given, also under load; never while the manager is stopped. An
    // audit begins at a full second.
    Zin::Seconds nextAuditSlice() const;
    // Whether one has begun and is not over: whoever is idle goes on with it at once.
    bool isAuditing() const { return bool(slicedPass_); }

    // What has led to the present.
    Recording recording() const { return history_.recording(); }

    // Whether a rebuild of the VRF is owed.
    bool degraded(L3::VrfName const& vrf) const;
    // How many rebuilds there were, by reason: the function whose invariant failed, or what the
    // audit found first. What repairs have been tried for in vain counts as "not repaired: ...".
    std::map<std::string, std::uint64_t> const& repairsByReason() const { return byReason_; }
    struct Counts {
        std::uint64_t tasks = 0;          // that have been run
        std::uint64_t afterFailures = 0;  // rebuilds, because an invariant failed
        std::uint64_t afterAudits = 0;    // rebuilds, because of what an audit found
        std::uint64_t inVain = 0;         // faults that a rebuild has not changed
    };
    Counts const& counts() const { return counts_; }
    // When the last audit of all was over; nothing before.
    std::optional<Zin::Seconds> auditedAt() const { return auditedAt_; }
    // The last few repairs, the latest last.
    std::deque<Repair> const& lastRepairs() const { return lastRepairs_; }

private:
    struct Vrf {
        explicit Vrf(Zin::Seconds patience) : faults(patience) {}

        VrfHealth health{};
        FaultBook faults;
        std::string reason{};  // of what is owed
        Zin::Seconds nextOverdue = Velk::never;
    };
    struct Failure {
        L3::VrfName vrf;
        std::string message;
        std::string reason;
    };
    class TableWatcher;

    void handleOperation(Operation const& operation) override;

    Vrf& vrf(L3::VrfName const& name);
    // What has failed since the last time owes rebuilds, and silences machines.
    void noteFailures();
    // One that is owed a rebuild is known to be wrong.
    bool isAudited(L3::VrfName const& name) const;
    AuditPass::BookOf booksOfAudited();
    void passEnds(AuditPass& pass);
    void repairFaults(L3::VrfName const& name);
    // Adds to `count` when it is done.
    void rebuild(L3::VrfName const& name, std::string why, std::string reason,
                 std::uint64_t& count);
    struct Rebuilt {
        bool isDone = false;
        std::optional<Failure> failure{};  // of the new machine
        Difference<IpLib::IntfAddrEntryContent> rows{};
    };
    Rebuilt tryRebuild(L3::VrfName const& name);

    Router& router_;
    RepairObserver* const observer_;
    Zin::Seconds const patience_;
    Zin::Ptr<TableFollower> const follower_;
    OperationHistory history_;
    std::vector<Failure> failures_;  // not noted yet
    std::map<L3::VrfName, Vrf, VrfOrder> vrfs_;
    std::unique_ptr<TableWatcher> watcher_;
    std::map<std::string, std::uint64_t> byReason_;
    Counts counts_;
    std::deque<Repair> lastRepairs_;

    bool changed_ = true;  // since the last audit of all
    std::optional<Zin::Seconds> auditedAt_;
    // The audit that is done in slices; null between two of them.
    std::unique_ptr<AuditPass> slicedPass_;
    Zin::Seconds passBegan_ = 0.0;
    std::chrono::nanoseconds passTook_{};  // in its slices
    Zin::Seconds nextPass_ = 0.0;
    Zin::Seconds nextSlice_ = 0.0;
};

}  // namespace Routing
