#include "Zin/Clock.h"

#include <algorithm>
#include <chrono>

#include "Zin/Turn.h"

namespace Zin {

Seconds steadyReading() {
    return std::chrono::duration<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Seconds SteadyClock::now() const {
    if (!Turn::inProgress()) {
        return steadyReading();
    }
    if (turn_ != Turn::id()) {
        turn_ = Turn::id();
        read_ = steadyReading();
    }
    return read_;
}

void VirtualClock::nowIs(Seconds now) { now_ = std::max(now_, now); }

}  // namespace Zin
