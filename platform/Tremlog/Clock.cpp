#include "Tremlog/Clock.h"

#include <chrono>

namespace Tremlog {
namespace {

struct Reading {
    std::uint64_t const ticks = Tremlog::ticks();
    std::chrono::steady_clock::time_point const time = std::chrono::steady_clock::now();
};

Reading const loaded;
std::int64_t const loadedAt =
    std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();

}  // namespace

TickScale tickScale() noexcept {
    Reading const now;
    std::chrono::duration<double> const passed = now.time - loaded.time;
    TickScale scale{.loaded = loaded.ticks, .loadedAt = loadedAt, .secondsPerTick = 1.0};
    scale.secondsPerTick = passed.count() / scale.seconds(now.ticks);
    return scale;
}

}  // namespace Tremlog
