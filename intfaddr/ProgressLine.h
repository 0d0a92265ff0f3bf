// One line on a terminal that says how far a replay is: written in place, a few times a second at
// most, and erased in the end.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>

#include "Zin/Seconds.h"

namespace IntfAddr {

class ProgressLine {
public:
    explicit ProgressLine(std::ostream& terminal) : terminal_(terminal) {}
    ~ProgressLine() { erase(); }
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    void show(std::uint64_t line, Zin::Seconds time);
    void erase();

private:
    std::ostream& terminal_;
    std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
    bool stands_ = false;
};

}  // namespace IntfAddr
