// Formatted traces: what a class says about its work, for whoever switched that class on.
//
//   in     fmtrace: a level, the function, a format checked at compile time, and its arguments
//   out    the sink in place: one call for each trace, or one line on stderr where no sink is
//
// Nothing is formatted unless the handle has the level enabled. Tracing never fails the code that
// traces: what a sink or an argument's formatter throws is dropped, and counted. Only an invariant
// that fails in one of them (Zin::AssertionError) is a failure of the turn in progress, as in any
// handler; outside of turns it is thrown.
//
// A sink may trace, switch levels and replace itself while it takes a trace. What is traced
// meanwhile goes to stderr, so a sink that traces cannot feed itself for ever.
//
// Classes trace through Pell::Traced rather than through fmtrace itself.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "Pell/TraceHandle.h"
#include "Zin/Format.h"

namespace Pell {

// One trace as a sink sees it. The texts are borrowed for the time of the call.
struct Trace {
    int level;                   // from 1, the most important, to 9
    std::string_view className;  // of who traces, without its namespace
    std::string_view function;   // without its class
    std::string_view message;    // formatted
};

// Where traces go.
class Sink {
public:
    // Called for each trace that is enabled, by the code that traces.
    virtual void trace(Trace const& trace) = 0;

protected:
    ~Sink() = default;
};

// Puts `sink` (borrowed) in the place of the present one, which is returned; null is stderr.
Sink* sinkIs(Sink* sink) noexcept;

// How many traces were enabled and yet lost, since their formatting or their sink threw.
std::uint64_t droppedTraces() noexcept;

namespace Detail {
// Out of the way of the code that traces nothing, with all that it takes.
[[gnu::cold]] void emit(TraceHandle const& handle, int level, std::string_view function,
                        fmt::string_view format, fmt::format_args args);
template <class... Args>
[[gnu::cold, gnu::noinline]] void emitArguments(TraceHandle const& handle, int level,
                                                std::string_view function, fmt::string_view format,
                                                Args const&... args) {
    emit(handle, level, function, format, fmt::make_format_args(args...));
}
}  // namespace Detail

// Traces where the handle has the level, 1 to 9, enabled; else the arguments are not looked at.
template <class... Args>
void fmtrace(TraceHandle const& handle, int level, std::string_view function,
             fmt::format_string<Args...> format, Args&&... args) {
    if (handle.enabled(level)) [[unlikely]] {
        Detail::emitArguments<std::remove_cvref_t<Args>...>(handle, level, function, format,
                                                            args...);
    }
}

}  // namespace Pell
