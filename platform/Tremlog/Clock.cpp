#include "Tremlog/Clock.h"

#include <chrono>

namespace Tremlog {
namespace {

struct Reading {
    std::uint64_t const ticks = Tremlog::ticks();
    std::chrono::steady_clock::time_point const time = std::chrono::steady_clock::now();
};

Reading const loaded;

// Counters of ticks wrap, and a record made by a static object may precede `loaded`: the difference
// is signed.
double ticksSinceLoad(std::uint64_t ticks) {
    return static_cast<double>(static_cast<std::int64_t>(ticks - loaded.ticks));
}

}  // namespace

SecondsFromTicks::SecondsFromTicks() noexcept {
    Reading const now;
    std::chrono::duration<double> const passed = now.time - loaded.time;
    secondsPerTick_ = passed.count() / ticksSinceLoad(now.ticks);
}

double SecondsFromTicks::operator()(std::uint64_t ticks) const noexcept {
    return ticksSinceLoad(ticks) * secondsPerTick_;
}

}  // namespace Tremlog
