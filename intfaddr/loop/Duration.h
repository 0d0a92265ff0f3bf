// Seconds, as timers of Asio want them.
#pragma once

#include <chrono>

#include "Zin/Seconds.h"

namespace IntfAddr {

inline std::chrono::steady_clock::duration durationOf(Zin::Seconds time) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(time));
}

}  // namespace IntfAddr
