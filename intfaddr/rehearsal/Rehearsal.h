// A copy of what an agent has of one VRF, on a clock of its own: what is done to it shows what it
// would come to, and changes nothing else.
//
//     Rehearsal rehearsal(state);      // as /v1/state tells it (StateScenario.h)
//     rehearsal.apply(operation);      // now
//     rehearsal.goOn(10.0);
//     rehearsal.changes();             // the rows that came and went, and when
//
// The copy is looked after as the agent is: an invariant that fails is contained, and the table
// rebuilt. Only one is there at a time, since it takes assertions and traces for itself.
#pragma once

#include <compare>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "feeds/scenario/Replayer.h"
#include "router/repair/TableFollower.h"

namespace IntfAddr {

class Rehearsal final : private Routing::TableFollower::Notifiee {
public:
    struct Change {
        Zin::Seconds at;  // from now
        L3::VrfName vrf;
        bool present;
        IpLib::IntfAddrEntryContent row;

        friend bool operator==(Change const&, Change const&) = default;
    };

    // `state`: lines of a scenario. One that makes no sense, as where half of it was new, is
    // counted and left out.
    explicit Rehearsal(std::string_view state);
    ~Rehearsal() override;

    std::size_t leftOut() const { return leftOut_; }
    Routing::Router& router() { return replayer_.run().router(); }

    // Does what the line says, whose times count from the present. Throws Scenario::LineError.
    void handleLine(std::uint64_t number, Scenario::Json object);
    void apply(Routing::Operation const& operation);
    // Lets time pass, and do what is due.
    void goOn(Zin::Seconds duration);
    // For as long as anything that was begun may take.
    void goOnToTheEnd();

    // Since the state was read, in their order.
    std::vector<Change> const& changes() const { return changes_; }
    // What else there was to be said, such as an invariant that failed.
    std::vector<std::string> remarks() const;

private:
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;
    void read(std::string_view line);

    Scenario::Options const options_{.heal = true};
    std::ostringstream said_;
    Scenario::Replayer replayer_{said_, options_};
    std::size_t leftOut_ = 0;
    std::string::size_type saidBefore_ = 0;
    Zin::Seconds began_ = 0.0;
    std::vector<Change> changes_;
};

}  // namespace IntfAddr
