// A client who looks up one address after the other, over a connection that he keeps: for a while
// at the agent, for a while at the smallest server, and so on, so that whatever else the machine
// does slows both alike.
#pragma once

#include <cstddef>
#include <vector>

#include "load/KeptTalk.h"
#include "load/Truth.h"

namespace Load {

class Asker {
public:
    static constexpr auto slice = std::chrono::milliseconds(250);

    struct Lookup {
        std::size_t address;
        Interval interval;
        bool isThere;
    };

    Asker(std::string const& agent, std::string const& smallest, unsigned seed)
        : agent_(agent), smallest_(smallest), seed_(seed) {}

    // Throws std::runtime_error for an answer that is none.
    void run(Time begin, Time end);

    // What the agent answered, and how long the smallest server took.
    std::vector<Lookup> const& lookups() const { return lookups_; }
    std::vector<Clock::duration> const& smallestTimes() const { return smallestTimes_; }

private:
    KeptTalk agent_;
    KeptTalk smallest_;
    unsigned const seed_;
    std::vector<Lookup> lookups_;
    std::vector<Clock::duration> smallestTimes_;
};

}  // namespace Load
