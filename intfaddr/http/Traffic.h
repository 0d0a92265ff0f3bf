// Counts of what servers do, for whoever measures them: a value that any number of them fill in.
//
// It outlives them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "Zin/Seconds.h"

namespace IntfAddr {

struct Traffic {
    // What a reply takes, from its request's last byte to its own; a stream is none of these.
    struct Times {
        // The longest time of each bucket.
        static constexpr std::array<Zin::Seconds, 16> bounds{1e-4, 2.5e-4, 5e-4, 1e-3, 2.5e-3, 5e-3,
                                                             1e-2, 2.5e-2, 5e-2, 0.1,  0.25,   0.5,
                                                             1.0,  2.5,    5.0,  10.0};

        // Each time is in one bucket; the last one is for all that are longer.
        std::array<std::uint64_t, bounds.size() + 1> buckets{};
        std::uint64_t count = 0;
        Zin::Seconds sum = 0.0;

        void add(Zin::Seconds time) {
            auto const place = std::ranges::lower_bound(bounds, time) - bounds.begin();
            ++buckets[static_cast<std::size_t>(place)];
            ++count;
            sum += time;
        }
    };

    std::uint64_t requests = 0;  // those that are refused, or that come to no reply, included
    Times times{};
    std::size_t clients = 0;           // connected now
    std::uint64_t refusedClients = 0;  // at the door, because there are too many
    std::uint64_t droppedReaders = 0;  // because they read nothing any more
};

}  // namespace IntfAddr
