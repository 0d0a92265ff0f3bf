#include "Trial.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>
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

class Listener final : public Routing::TableFollower::Notifiee {
public:
    Listener(Zin::Ptr<Routing::TableFollower> const& follower, Told& told) : told_(told) {
        notifierIs(follower);
    }

private:
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override {
        told_.rowIs(vrf, row, present);
    }
    void handleRowFromAddr(L3::VrfName const& vrf, IpLib::IntfAddrEntryKey const& key,
                           bool present) override {
        told_.rowFromAddrIs(vrf, key, present);
    }
    void handleSetFromSubnet(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet,
                             bool present) override {
        told_.setFromSubnetIs(vrf, subnet, present);
    }
    void handleLinkLocalFromIntf(L3::VrfName const& vrf, Nimb::IntfId const& intfId,
                                 bool present) override {
        told_.linkLocalFromIntfIs(vrf, intfId, present);
    }

    Told& told_;
};

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

Trial tried(RandomScenario const& scenario, Repair repair) {
    Faults faults;
    std::uint64_t repairs = 0;
    std::ostream nowhere(nullptr);
    bool const heal = repair == Repair::on;
    // Goes when nothing is thrown any more: its teardown may fail invariants.
    Scenario::Run run(nowhere, scenario.config, {.maxTaskRuns = maxTaskRuns, .heal = heal});
    try {
        Book book;
        Told told;
        std::optional<Listener> listener;
        if (heal) {
            listener.emplace(run.supervisor()->follower(), told);
        }
        carryOutAndSettle(scenario, run, book);
        if (run.outcome()) {
            faults.add("run ended", "before its last line");
        }
        judge(book, run.router(), scenario.config.machines, faults);
        if (heal) {
            told.find(*run.router().tables(), faults);
            for (auto const& [reason, count] : run.supervisor()->repairsByReason()) {
                repairs += count;
            }
        }
    } catch (std::exception const& error) {
        faults.add("thrown", "{}", error.what());
    }
    return {.faults = faults.all(), .repairs = repairs};
}

RandomScenario shrunk(RandomScenario scenario, std::string_view kind) {
    auto const isStillWrong = [&](RandomScenario const& fewer) {
        return std::ranges::any_of(tried(fewer).faults,
                                   [&](Fault const& fault) { return fault.kind == kind; });
    };
    bool hasDropped = true;
    auto const tryWithout = [&](std::size_t i, auto const& drop) {
        RandomScenario fewer = scenario;
        drop(fewer.operations, fewer.operations.begin() + static_cast<std::ptrdiff_t>(i));
        if (isStillWrong(fewer)) {
            scenario = std::move(fewer);
            hasDropped = true;
        }
    };
    while (hasDropped) {
        hasDropped = false;
        for (auto i = scenario.operations.size(); i-- > 0;) {
            tryWithout(i, [](auto& operations, auto const& at) { operations.erase(at); });
        }
        for (auto i = scenario.operations.size(); i-- > 0;) {
            if (scenario.operations[i].at) {
                tryWithout(i, [](auto&, auto const& at) { at->at.reset(); });
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
