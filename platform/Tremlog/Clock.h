// Time stamps that cost as little as the machine allows: the processor's cycle counter where it has
// one that user code may read, the steady clock elsewhere. Ticks have no unit until they are told
// in seconds.
#pragma once

#include <cstdint>

#if !defined(__x86_64__)
#include <chrono>
#endif

namespace Tremlog {

inline std::uint64_t ticks() noexcept {
#if defined(__x86_64__)
    return __builtin_ia32_rdtsc();
#else
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

// Turns ticks into seconds since the program was loaded. The rate is that of the whole time passed
// since then, measured against the steady clock when the converter is made.
class SecondsFromTicks {
public:
    SecondsFromTicks() noexcept;
    double operator()(std::uint64_t ticks) const noexcept;

private:
    double secondsPerTick_;
};

}  // namespace Tremlog
