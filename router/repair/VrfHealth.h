// When a VRF in which an invariant failed is rebuilt.
//
//     whole --failure--> rebuild owed --due--> rebuilt: whole, or hopeless if that failed as well
//                            '--the same failure again, nothing having changed--> hopeless
//     hopeless --an input changes, or 5 min are over--> due
//
// The first rebuild is due at once. After a failure within a minute of the last it waits: 1 s, then
// twice as long each time, but no longer than 10 s or twenty times as long as the last rebuild
// took. While one is owed the VRF is degraded.
//
// Times are in seconds, of one clock. Decides, and does nothing.
#pragma once

#include <optional>
#include <string>

#include "Zin/Seconds.h"

namespace Routing {

class VrfHealth {
public:
    // An invariant failed; nothing more is owed where a rebuild is owed already.
    void failed(std::string const& why, Zin::Seconds now);
    // An input of the VRF changes.
    void inputChanges(Zin::Seconds now);
    // What is owed is due now: the machine that was silenced has been replaced.
    void restarted(Zin::Seconds now);
    // Nothing is owed any more: the table is another one, or has gone.
    void forgiven() { owed_.reset(); }
    // The VRF has been rebuilt, for whatever reason, in `took` seconds, and the rebuild did or did
    // not fail.
    void rebuilt(Zin::Seconds now, Zin::Seconds took, std::optional<std::string> const& failure);

    // Whether a rebuild is owed.
    bool degraded() const { return owed_.has_value(); }
    // Why; not before anything has failed.
    std::string const& why() const { return why_; }
    // When the rebuild that is owed is due; never where none is.
    Zin::Seconds due() const;
    // From when on a rebuild that no failure asks for takes no more than a twentieth of the time.
    Zin::Seconds restedFrom() const { return rebuiltAt_ + 20.0 * took_; }

private:
    struct Owed {
        Zin::Seconds due;
        Zin::Seconds earliest;
    };

    void owe(Zin::Seconds now, bool hopeless);

    std::optional<Owed> owed_;
    std::string why_;
    bool inputsChanged_ = true;
    std::optional<Zin::Seconds> failedAt_;
    Zin::Seconds wait_ = 0.0;
    Zin::Seconds rebuiltAt_ = 0.0;
    Zin::Seconds took_ = 0.0;
};

}  // namespace Routing
