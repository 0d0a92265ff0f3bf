// How a supervised router moves through time, on a virtual clock: the order of what is due.
//
//   in     the times to which it is moved, and the effects of operations
//   out    nothing of its own; what an input refuses is told, and time goes on
//   time   at one time come first the tasks, each at its own time, then the rebuilds that are due,
//          then, at each full second, an audit of all tables
//
// Audits may be made in slices instead, which begin at full seconds too: one that needs a single
// slice is the same.
//
// Borrows the router and its supervisor, and goes before them; the clock is the router's.
#pragma once

#include <functional>

#include "Zin/Clock.h"
#include "Zin/Errors.h"
#include "router/Router.h"
#include "router/repair/Supervisor.h"

namespace Routing {

enum class Audits { atFullSeconds, inSlices };

class Timeline {
public:
    // Told the errors that the library raises out of what is done.
    using Refused = std::function<void(Zin::Error const&)>;

    // From the clock's present time on. `refused` is called within what moves time, and must be
    // there.
    Timeline(Router& router, Supervisor& supervisor, Zin::Ptr<Zin::VirtualClock> clock,
             Audits audits, Refused refused);

    // The clock's time.
    Zin::Seconds now() const { return clock_->now(); }
    // When something is due next; a time that has passed where it is overdue, never where nothing
    // is.
    Zin::Seconds nextStep() const;

    // Applies an effect at the present time, and rebuilds what is due then.
    void apply(Effect const& effect);

    // Does the next thing on the way to `time`, and moves the clock to it; to `time` where there is
    // none. Returns whether there was one.
    bool advanceToNextStep(Zin::Seconds time);
    // Does all that is due by `time`. Tasks that make work for each other without end keep it from
    // getting there: whoever fears that makes the steps himself, and counts them.
    void advanceTo(Zin::Seconds time);

private:
    // The first full second that has not been audited, and at which an audit may find something;
    // in slices the next of these.
    Zin::Seconds nextAudit() const;
    void audit(Zin::Seconds time);
    // Returns whether a task was due.
    bool runNextTask();

    Router& router_;
    Supervisor& supervisor_;
    Zin::Ptr<Zin::VirtualClock> const clock_;
    Audits const audits_;
    Refused const refused_;
    Zin::Seconds auditedUntil_ = 0.0;
};

}  // namespace Routing
