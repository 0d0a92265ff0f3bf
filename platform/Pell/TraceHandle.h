// The switch of one class's traces.
//
// A class that traces has one handle, named after it. The handle holds the highest level that is
// enabled, so a disabled trace costs a load and a branch. Levels go from 1 to 9: 3 marks noteworthy
// events, 8 handler entries and per-pass decisions, 9 per-item detail. Everything is off at first.
//
//   in     traceLevelIs: the level of one class, or of all
//   out    enabled(level), asked by fmtrace
//
// Every handle registers itself for as long as it lives; a setting for a class name that has no
// handle yet waits for it. Handles and settings are used from one thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Pell {

// What is set, as a whole; for whoever changes it for a while and then puts it back.
struct TraceLevels {
    std::map<std::string, int, std::less<>> ofClass;  // those that were given one of their own
    int ofOthers = 0;                                 // 0: none
};
TraceLevels traceLevels();
void traceLevelsIs(TraceLevels levels);

class TraceHandle {
public:
    // `className` is borrowed and outlives the handle.
    explicit TraceHandle(std::string_view className);
    ~TraceHandle();
    TraceHandle(TraceHandle const&) = delete;
    TraceHandle& operator=(TraceHandle const&) = delete;

    std::string_view className() const noexcept { return className_; }
    int level() const noexcept { return level_; }
    // False for what is no level, such as 0.
    bool enabled(int level) const noexcept {
        return static_cast<unsigned>(level) - 1U < static_cast<unsigned>(level_);
    }

private:
    friend void traceLevelsIs(TraceLevels levels);

    std::string_view const className_;
    int level_;
};

// Enables the traces of `className` up to `level`, and no others of it; level 0 turns them off,
// one above 9 stands for 9.
// "*" does so for every class, and for those yet to register; it replaces what was set before.
void traceLevelIs(std::string_view className, int level);

// The level that is set for `className`, registered or not. "*" asks for that of classes that were
// given none of their own.
int traceLevel(std::string_view className);

// The names of the registered classes: each once, in alphabetical order.
std::vector<std::string_view> traceClassNames();

}  // namespace Pell
