#include "Trial.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <iterator>
#include <ostream>

#include "Judge.h"
#include "Told.h"

namespace Healing {
namespace {

// A line of a scenario file for each, and one for its configuration.
constexpr std::uint64_t firstLine = 2;
// No scenario needs nearly as many for one line.
constexpr std::uint64_t maxTaskRuns = 100'000;

Operation settling(Scenario::Config const& config) {
    return {.kind = Operation::Kind::advance, .seconds = timeToSettle(config)};
}

void carryOutAndSettle(RandomScenario const& scenario, Scenario::Run& run, Book& book) {
    carryOut(scenario.operations, run, book);
    // Does nothing where it runs.
    carryOut({{.kind = Operation::Kind::managerStart}, settling(scenario.config)}, run, book);
}

}  // namespace

Zin::Seconds timeToSettle(Scenario::Config const& config) {
    auto const& machines = config.machines;
    return 30.0 + std::abs(machines.intfCleanupDelay) + std::abs(machines.deferredIntfAddDelay);
}

void carryOut(std::vector<Operation> const& operations, Scenario::Run& run, Book& book) {
    std::uint64_t line = firstLine;
    for (auto const& operation : operations) {
        if (book.accepts(operation)) {
            run.carryOut(line++, operation.at, [&] { return check(operation, run); });
            book.note(operation);
        }
    }
}

std::vector<Fault> tried(RandomScenario const& scenario, Repair) {
    Faults faults;
    std::ostream nowhere(nullptr);
    // Goes when nothing is thrown any more: its teardown may fail invariants.
    Scenario::Run run(nowhere, scenario.config, {.maxTaskRuns = maxTaskRuns});
    try {
        Book book;
        carryOutAndSettle(scenario, run, book);
        if (run.outcome()) {
            faults.add("run ended", "before its last line");
        }
        judge(book, run.router(), scenario.config.machines, faults);
    } catch (std::exception const& error) {
        faults.add("thrown", "{}", error.what());
    }
    return faults.all();
}

RandomScenario shrunk(RandomScenario scenario, std::string_view kind) {
    auto const isStillWrong = [&](RandomScenario const& fewer) {
        return std::ranges::any_of(tried(fewer),
                                   [&](Fault const& fault) { return fault.kind == kind; });
    };
    bool hasDropped = true;
    while (hasDropped) {
        hasDropped = false;
        for (auto i = scenario.operations.size(); i-- > 0;) {
            RandomScenario fewer = scenario;
            fewer.operations.erase(fewer.operations.begin() + static_cast<std::ptrdiff_t>(i));
            if (isStillWrong(fewer)) {
                scenario = std::move(fewer);
                hasDropped = true;
            }
        }
    }
    return scenario;
}

std::string toLines(RandomScenario const& scenario) {
    std::string lines = toLine(scenario.config) + "\n";
    Book book;
    auto const say = [&](Operation const& operation) {
        if (book.accepts(operation)) {
            book.note(operation);
            lines += toLine(operation) + "\n";
        }
    };
    std::ranges::for_each(scenario.operations, say);
    say({.kind = Operation::Kind::managerStart});
    say(settling(scenario.config));
    return lines + R"({"op": "snapshot"})" + "\n";
}

}  // namespace Healing
