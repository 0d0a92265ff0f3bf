// For scripts/bench, which counts the instructions that this runs: what a disabled trace adds to a
// function is the difference between two runs.
//
//   bench_trace [--smallest]         does both, and says that nothing was traced
//   bench_trace plain|traced CALLS   does so much without a trace, or with it
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Nimb/IntfId.h"
#include "Pell/Traced.h"
#include "Result.h"

namespace {

class Placement : private Pell::Traced<"TraceBench"> {
public:
    // Each so often that what the function does once does not count.
    [[gnu::noinline]] void plain(Nimb::IntfId const& intf, std::uint64_t calls) {
        for (std::uint64_t call = 0; call < calls; ++call) {
            asm volatile("" : : "r"(&intf) : "memory");
            ++calls_;
        }
    }
    [[gnu::noinline]] void traced(Nimb::IntfId const& intf, std::uint64_t calls) {
        for (std::uint64_t call = 0; call < calls; ++call) {
            asm volatile("" : : "r"(&intf) : "memory");
            trace9("adding an address on {}", intf);
            ++calls_;
        }
    }
    std::uint64_t calls() const { return calls_; }

private:
    std::uint64_t calls_ = 0;
};

class Count final : public Pell::Sink {
public:
    void trace(Pell::Trace const&) override { ++traces; }
    std::uint64_t traces = 0;
};

}  // namespace

int main(int argc, char** argv) {
    Count count;
    Pell::sinkIs(&count);
    Placement placement;
    Nimb::IntfId const intf("Ethernet1/2");
    std::string_view const which = argc > 1 ? argv[1] : "--smallest";
    std::uint64_t calls = 1'000;
    if (argc == 3) {
        std::from_chars(argv[2], argv[2] + std::strlen(argv[2]), calls);
    }
    if (which != "traced") {
        placement.plain(intf, calls);
    }
    if (which != "plain") {
        placement.traced(intf, calls);
    }
    Bench::check("traces", count.traces, 0);
    Bench::check("calls", placement.calls(), which == "--smallest" ? 2 * calls : calls);
    return EXIT_SUCCESS;
}
