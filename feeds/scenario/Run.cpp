#include "feeds/scenario/Run.h"

#include <utility>

#include "Velk/Advance.h"
#include "Zin/Format.h"
#include "feeds/scenario/FileError.h"
#include "router/OperationError.h"

namespace Scenario {

Run::Run(std::ostream& out, Config const& config, Options const& options)
    : maxTaskRuns_(options.maxTaskRuns),
      clock_(Zin::make<Zin::VirtualClock>()),
      output_(out, clock_),
      assertionPrinter_(output_, line_),
      router_(std::make_unique<Routing::Router>(
          config.machines, clock_, std::make_unique<Velk::EveryNth>(config.yieldEvery))),
      repairPrinter_(output_) {
    if (options.traceLevel > 0) {
        tracePrinter_.emplace(output_, options.traceLevel, options.traceClasses);
    }
    if (options.heal) {
        supervisor_ = std::make_unique<Routing::Supervisor>(*router_, &repairPrinter_);
        assertionPrinter_.supervisorIs(supervisor_.get());
        timeline_ = std::make_unique<Routing::Timeline>(
            *router_, *supervisor_, clock_, Routing::Audits::atFullSeconds,
            [this](Zin::Error const& error) { printError(error); });
    }
    if (options.events && supervisor_) {
        followedEventPrinter_ =
            std::make_unique<FollowedEventPrinter>(supervisor_->follower(), output_);
    } else if (options.events) {
        eventPrinter_ = std::make_unique<EventPrinter>(router_->tables(), output_);
    }
    apply(router_->managerStart());
}

Run::~Run() {
    output_.close();
    assertionPrinter_.supervisorIs(nullptr);
    try {
        Zin::Turn turn;
        turn.run([this] {
            followedEventPrinter_ = nullptr;
            timeline_ = nullptr;
            supervisor_ = nullptr;
        });
        turn.run([this] { router_ = nullptr; });
        turn.run([this] { eventPrinter_ = nullptr; });
    } catch (...) {
    }
}

template <class Step>
void Run::guarded(Step const& step) {
    try {
        step();
    } catch (Pell::AssertionError const&) {
    } catch (Routing::OperationError const& error) {
        // Names may be long.
        throw LineError(shortened(error.what(), 400));
    } catch (Zin::Error const& error) {
        printError(error);
    }
}

void Run::carryOut(std::uint64_t line, std::optional<Zin::Seconds> at,
                   std::function<Routing::Effect()> const& check) {
    line_ = line;
    timeOfLine_ = at.value_or(now());
    guarded([&] {
        auto const effect = check();
        if (at) {
            advanceTo(*at);
        }
        if (!outcome()) {
            apply(effect);
        }
    });
}

void Run::apply(Routing::Effect const& effect) {
    if (timeline_) {
        timeline_->apply(effect);
    } else {
        effect.apply();
    }
}

void Run::advanceTo(Zin::Seconds time) {
    std::uint64_t runs = 0;
    bool goesOn = true;
    while (goesOn && !outcome()) {
        if (runs++ > maxTaskRuns_) {
            throw LineError(
                fmt::format("tasks ran more than {} times on the way to {}", maxTaskRuns_, time));
        }
        guarded([&] { goesOn = advanceToNextStep(time); });
    }
}

bool Run::advanceToNextStep(Zin::Seconds time) {
    return timeline_ ? timeline_->advanceToNextStep(time)
                     : Velk::advanceToNextRun(*clock_, *router_->scheduler(), time);
}

void Run::printError(Zin::Error const& error) {
    output_.print("error", {{"line", line_}, {"message", error.what()}});
}

std::optional<Outcome> Run::outcome() const {
    if (assertionPrinter_.hasFailed()) {
        return Outcome::invariantFailed;
    }
    if (expectationFailed_) {
        return Outcome::expectationFailed;
    }
    return std::nullopt;
}

}  // namespace Scenario
