// Time stamps that cost as little as the machine allows: the processor's cycle counter where it has
// one that user code may read, the steady clock elsewhere. Ticks have no unit until they are told
// in seconds.
#pragma once

#include <cstdint>

#if !defined(__x86_64__)
#include <chrono>
#endif

namespace Tremlog {

// Now. Counted by the processor, or in the steady clock's unit; of the machine, not of a thread.
inline std::uint64_t ticks() noexcept {
#if defined(__x86_64__)
    return __builtin_ia32_rdtsc();
#else
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

// What ticks are in seconds, and on the clock on the wall. The rate is that of the time passed
// since the program was loaded, measured against the steady clock.
struct TickScale {
    std::uint64_t loaded;   // in ticks
    std::int64_t loadedAt;  // in nanoseconds since 1970, UTC
    double secondsPerTick;  // known the better, the longer the program has run

    // Since the program was loaded. Counters of ticks wrap, and a record made by a static object
    // may precede `loaded`: the difference is signed.
    double seconds(std::uint64_t ticks) const noexcept {
        return static_cast<double>(static_cast<std::int64_t>(ticks - loaded)) * secondsPerTick;
    }
};

// As far as is known now.
TickScale tickScale() noexcept;

}  // namespace Tremlog
