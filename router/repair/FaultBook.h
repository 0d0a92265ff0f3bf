// The faults that the audits of one VRF have found: since when each is there, and which of them are
// to be repaired.
//
//     found --stays so for longer than the patience--> due --repaired--> tried --found again-->
//     told
//       '--not found by a whole audit, or something it is about changes--> forgotten
//
// A fault that is still found after a repair is told once, and is not due again until an input of
// it changes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Zin/Seconds.h"
#include "router/Operation.h"
#include "router/repair/Fault.h"

namespace Routing {

class FaultBook {
public:
    // How long a fault may stay, in seconds: what mends itself does so within that time.
    explicit FaultBook(Zin::Seconds patience) : patience_(patience) {}

    // An audit has found the fault.
    void found(Fault const& fault, Zin::Seconds now);
    // It has found nothing else. Returns what a repair was tried in vain for, the first time.
    std::vector<Fault> auditEnds();

    // Those that have stayed for too long, sorted.
    std::vector<Fault> due(Zin::Seconds now) const;
    // The time that has to be over for the next one to be due; never where none will be.
    Zin::Seconds nextDue() const;

    // What is due has been tried to repair.
    void repaired(Zin::Seconds now);

    // An operation comes that concerns the VRF; an address, or a set, has come into the table or
    // has left it.
    void handleOperation(Operation const& operation);
    void handleRow(Nimb::IpGenAddr const& addr);
    void handleSet(Nimb::IpGenPrefix const& subnet);
    void clear() { faults_.clear(); }

private:
    struct Age {
        Zin::Seconds since;
        std::uint64_t audit;
        enum class Stage : std::uint8_t { found, tried, told } stage = Stage::found;
    };
    using Faults = std::map<Fault, Age>;

    bool isDue(Age const& age, Zin::Seconds now) const {
        return age.stage == Age::Stage::found && now - age.since > patience_;
    }
    template <class Concerns>
    void forget(Concerns const& concerns);

    Zin::Seconds const patience_;
    std::uint64_t audit_ = 0;
    Faults faults_;
};

}  // namespace Routing
