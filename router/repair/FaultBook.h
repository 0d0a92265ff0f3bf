// The faults that the audits of one VRF have found: since when each is there, and which of them are
// to be repaired.
//
//     found --again, after more than the patience--> due --repaired--> tried --found again--> told
//       '--not found by a whole audit--> forgotten
//
// A fault that is still found after a repair is told once, and is not due again until an input of
// it changes.
//
// What mends itself does so within the patience. Only an address whose way has become free waits
// for a while by the rules: that it waits is another fault each time its way has changed.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "Zin/Seconds.h"
#include "router/Operation.h"
#include "router/repair/Fault.h"

namespace Routing {

class FaultBook {
public:
    // How long a fault may stay, in seconds.
    explicit FaultBook(Zin::Seconds patience) : patience_(patience) {}

    // An audit begins, also where the last one was given up.
    void auditBegins() { ++audit_; }
    // It has found the fault.
    void found(Fault const& fault, Zin::Seconds now);
    // It has found nothing else. Returns what a repair was tried in vain for, the first time.
    std::vector<Fault> auditEnds();

    // Those that have stayed for too long, sorted.
    std::vector<Fault> due(Zin::Seconds now) const;
    // The time that has to be over for the next one to be due; never where none will be.
    Zin::Seconds nextDue() const;

    // What is due has been tried to repair.
    void repaired(Zin::Seconds now);

    // An operation changes inputs of the VRF.
    void handleOperation(Operation const& operation);
    // A row, a subnet's set or an interface's link-local entry has come into the table, or has left
    // it.
    void handleRow(IpLib::IntfAddrEntryContent const& row);
    void handleSet(Nimb::IpGenPrefix const& subnet);
    void handleLinkLocal(Nimb::IntfId const& intf);
    void clear() { faults_.clear(); }

private:
    enum class Stage : std::uint8_t { found, tried, told };
    struct Age {
        Zin::Seconds since;
        std::uint64_t firstAudit;
        std::uint64_t lastAudit;
        Stage stage = Stage::found;
    };

    bool isDue(Age const& age, Zin::Seconds now) const {
        return age.stage == Stage::found && now - age.since > patience_ &&
               age.firstAudit < age.lastAudit;
    }
    // Of the addresses in the subnet.
    template <class Concerns>
    void forgetWaiting(Nimb::IpGenPrefix const& subnet, Concerns const& concerns);
    template <class Concerns>
    void forgetTried(Concerns const& concerns);

    Zin::Seconds const patience_;
    std::uint64_t audit_ = 0;
    std::map<Fault, Age> faults_;
};

}  // namespace Routing
