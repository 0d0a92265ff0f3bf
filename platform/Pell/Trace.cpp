#include "Pell/Trace.h"

#include <cstdio>
#include <string>
#include <utility>

#include "Zin/Format.h"
#include "Zin/Turn.h"

namespace Pell {
namespace {

Sink* theSink = nullptr;
bool sinkIsBusy = false;
std::uint64_t dropped = 0;

// The sink is busy for the lifetime of this, however the call of it ends.
class Busy {
public:
    Busy() noexcept { sinkIsBusy = true; }
    ~Busy() { sinkIsBusy = false; }
    Busy(Busy const&) = delete;
    Busy& operator=(Busy const&) = delete;
};

void print(Trace const& trace) {
    fmt::print(stderr, "{} {}::{}: {}\n", trace.level, trace.className, trace.function,
               trace.message);
}

}  // namespace

Sink* sinkIs(Sink* sink) noexcept { return std::exchange(theSink, sink); }

std::uint64_t droppedTraces() noexcept { return dropped; }

void Detail::emit(TraceHandle const& handle, int level, std::string_view function,
                  fmt::string_view format, fmt::format_args args) {
    try {
        std::string const message = fmt::vformat(format, args);
        Trace const trace{level, handle.className(), function, message};
        if (theSink == nullptr || sinkIsBusy) {
            print(trace);
        } else {
            Busy const busy;
            theSink->trace(trace);
        }
    } catch (Zin::AssertionError const&) {
        Zin::Turn turn;
        turn.run([] { throw; });
    } catch (...) {
        ++dropped;
    }
}

}  // namespace Pell
