// One record of the trace ring beside an empty loop, beside its time stamp alone, and beside the
// same message made into text, in one run with the repetitions of all interleaved. A disabled and
// an enabled formatted trace of the message stand beside them.
//
// Prints the medians as Google Benchmark does, and then one table: nanoseconds each, and as
// multiples of one record.
//
//   bench_tremlog [--smallest] [--benchmark_...]
#include <benchmark/benchmark.h>
#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Nimb/IntfId.h"
#include "Nimb/IpGenAddr.h"
#include "Pell/Trace.h"
#include "Tremlog/Record.h"
#include "Zin/Format.h"

namespace {

// The values differ from call to call, as a caller's do.
struct Message {
    std::vector<Nimb::IpGenAddr> addrs;
    std::vector<Nimb::IntfId> intfIds;
    std::size_t at = 0;

    Message() {
        for (int number = 0; number < 64; ++number) {
            addrs.emplace_back(fmt::format("10.0.{}.1", number));
            intfIds.emplace_back(fmt::format("Ethernet{}", number));
        }
    }
    Nimb::IpGenAddr const& addr() const { return addrs[at % 64]; }
    Nimb::IntfId const& intfId() const { return intfIds[at % 64]; }
    Nimb::IntfId const& other() const { return intfIds[(at + 1) % 64]; }
};

// Runs `step` on one message after another.
template <class Step>
void run(benchmark::State& state, Step step) {
    Message message;
    for (auto _ : state) {
        ++message.at;
        benchmark::DoNotOptimize(message.addr());
        step(message);
    }
}

void emptyLoop(benchmark::State& state) {
    run(state, [](Message const&) {});
}

void timeStamp(benchmark::State& state) {
    run(state, [](Message const&) { benchmark::DoNotOptimize(Tremlog::ticks()); });
}

void recordOfNothing(benchmark::State& state) {
    run(state, [](Message const&) { Tremlog::record<"backlog queue is empty">(); });
}

void record(benchmark::State& state) {
    run(state, [](Message const& message) {
        Tremlog::record<"deferring add of ip {} on {} as it has a conflict on {}">(
            message.addr(), message.intfId(), message.other());
    });
}

void format(benchmark::State& state) {
    run(state, [](Message const& message) {
        benchmark::DoNotOptimize(
            fmt::format("deferring add of ip {} on {} as it has a conflict on {}", message.addr(),
                        message.intfId(), message.other()));
    });
}

class Discard final : public Pell::Sink {
    void trace(Pell::Trace const& trace) override { benchmark::DoNotOptimize(trace.message); }
};

void trace(benchmark::State& state, int level) {
    Discard discard;
    Pell::Sink* const previous = Pell::sinkIs(&discard);
    Pell::TraceHandle const handle("TremlogBench");
    Pell::traceLevelIs("TremlogBench", level);
    run(state, [&handle](Message const& message) {
        Pell::fmtrace(handle, 3, "run", "deferring add of ip {} on {} as it has a conflict on {}",
                      message.addr(), message.intfId(), message.other());
    });
    Pell::sinkIs(previous);
}

void traceDisabled(benchmark::State& state) { trace(state, 0); }
void traceEnabled(benchmark::State& state) { trace(state, 3); }

class Table final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& one : runs) {
            if (one.aggregate_name == "median") {
                medians_[one.run_name.function_name] = one.GetAdjustedCPUTime();
            }
        }
    }
    // 0 where a filter left it out.
    double median(std::string const& name) const {
        auto const found = medians_.find(name);
        return found != medians_.end() ? found->second : 0;
    }

private:
    std::map<std::string, double> medians_;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::pair<char const*, void (*)(benchmark::State&)>> const subjects{
        {"empty loop", emptyLoop},
        {"time stamp", timeStamp},
        {"record of nothing", recordOfNothing},
        {"record", record},
        {"fmt::format", format},
        {"disabled trace", traceDisabled},
        {"enabled trace", traceEnabled}};
    for (auto const& [name, subject] : subjects) {
        benchmark::RegisterBenchmark(name, subject);
    }

    bool const smallest = argc > 1 && std::string_view(argv[1]) == "--smallest";
    // What the command line says comes last and wins.
    std::vector<std::string> defaults{
        argv[0], smallest ? "--benchmark_repetitions=2" : "--benchmark_repetitions=9",
        "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true",
        smallest ? "--benchmark_min_time=0.001" : "--benchmark_min_time=0.05"};
    defaults.insert(defaults.end(), argv + (smallest ? 2 : 1), argv + argc);
    std::vector<char*> arguments;
    for (std::string& argument : defaults) {
        arguments.push_back(argument.data());
    }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return EXIT_FAILURE;
    }
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);

    double const one = table.median("record");
    fmt::print("\n{:<20}{:>10}{:>14}\n", "", "ns", "x of a record");
    for (auto const& subject : subjects) {
        double const median = table.median(subject.first);
        if (median > 0 && one > 0) {
            fmt::print("{:<20}{:>10.1f}{:>14.2f}\n", subject.first, median, median / one);
        }
    }
    return EXIT_SUCCESS;
}
