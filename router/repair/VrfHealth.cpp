#include "router/repair/VrfHealth.h"

#include <algorithm>

#include "Velk/TaskScheduler.h"

namespace Routing {

namespace {

constexpr Zin::Seconds calmAfter = 60.0;
constexpr Zin::Seconds firstWait = 1.0;
constexpr Zin::Seconds longestWait = 10.0;
constexpr Zin::Seconds hopelessWait = 300.0;

}  // namespace

void VrfHealth::failed(std::string const& why, Zin::Seconds now) {
    if (owed_) {
        return;
    }
    bool const isSame = why == why_ && !inputsChanged_;
    why_ = why;
    owe(now, isSame);
}

void VrfHealth::owe(Zin::Seconds now, bool hopeless) {
    bool const isCalm = !failedAt_ || now - *failedAt_ >= calmAfter;
    wait_ = isCalm
                ? 0.0
                : std::min(std::max(2.0 * wait_, firstWait), std::max(longestWait, 20.0 * took_));
    failedAt_ = now;
    inputsChanged_ = false;
    owed_ = {.due = now + (hopeless ? hopelessWait : wait_), .earliest = now + wait_};
}

void VrfHealth::inputChanges(Zin::Seconds now) {
    inputsChanged_ = true;
    if (owed_) {
        owed_->due = std::min(owed_->due, std::max(owed_->earliest, now));
    }
}

void VrfHealth::restarted(Zin::Seconds now) {
    if (owed_) {
        owed_->due = now;
    }
}

void VrfHealth::rebuilt(Zin::Seconds now, Zin::Seconds took,
                        std::optional<std::string> const& failure) {
    owed_.reset();
    rebuiltAt_ = now;
    took_ = took;
    if (failure) {
        why_ = *failure;
        owe(now, true);
    }
}

Zin::Seconds VrfHealth::due() const { return owed_ ? owed_->due : Velk::never; }

}  // namespace Routing
