// One run of a scenario: a router on a virtual clock, and the printers of what happens in it.
//
//   in     operations; the time of a line passes once its operation has been found to make sense,
//          and before that is applied. Where an invariant fails meanwhile it is not applied
//   out    lines of JSON
//   time   moves with the lines alone
//
// With `heal` a supervisor contains what fails, and the run goes on to its end; what then comes at
// one time says router/repair/Timeline.h, with audits at full seconds.
//
// The router's manager runs from the start. Whatever fails when the run is over, and the router
// torn down, is nobody's concern any more. Outside of it nothing has changed then: trace levels,
// trace sink and assertion handler are what they were.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "feeds/scenario/AssertionPrinter.h"
#include "feeds/scenario/EventPrinter.h"
#include "feeds/scenario/FollowedEventPrinter.h"
#include "feeds/scenario/Output.h"
#include "feeds/scenario/RepairPrinter.h"
#include "feeds/scenario/TracePrinter.h"
#include "router/Router.h"
#include "router/repair/Supervisor.h"
#include "router/repair/Timeline.h"

namespace Scenario {

// What a scenario may set.
struct Config {
    IpLib::IntfAddrVrfTableSmConfig machines{};
    std::uint32_t yieldEvery = 0;
};

struct Options {
    // Print the notifications of the tables.
    bool events = false;
    // Print the traces up to this level; of these classes, or of all where none is named.
    int traceLevel = 0;
    std::vector<std::string> traceClasses{};
    // How often tasks may run while the clock is moved for one line. Tasks that make work for each
    // other without end would keep the clock from getting anywhere.
    std::uint64_t maxTaskRuns = 1'000'000'000;
    // Contain failed invariants, and repair the tables.
    bool heal = false;
};

enum class Outcome { completed, expectationFailed, invariantFailed };

class Run {
public:
    Run(std::ostream& out, Config const& config, Options const& options);
    ~Run();
    Run(Run const&) = delete;
    Run& operator=(Run const&) = delete;

    Routing::Router& router() { return *router_; }
    // Null where nothing is healed.
    Routing::Supervisor* supervisor() { return supervisor_.get(); }
    Zin::Seconds now() const { return clock_->now(); }
    void print(std::string_view member, OrderedJson content) {
        output_.print(member, std::move(content));
    }
    // The line that is being carried out, and the time at which its operation is applied.
    std::uint64_t line() const { return line_; }
    Zin::Seconds timeOfLine() const { return timeOfLine_; }

    // Carries out one line: `check` finds out whether its operation makes sense. Throws LineError
    // if it does not, with nothing applied and no time passed; and where the time of the line
    // cannot be reached, since tasks run too often on the way. A line without a time takes none.
    void carryOut(std::uint64_t line, std::optional<Zin::Seconds> at,
                  std::function<Routing::Effect()> const& check);
    // Moves the clock; the tasks that fall due run, and what they throw is printed.
    void advanceTo(Zin::Seconds time);

    void expectationFails() { expectationFailed_ = true; }

    // Nothing while the run goes on.
    std::optional<Outcome> outcome() const;

private:
    // What `step` throws is printed.
    template <class Step>
    void guarded(Step const& step);
    void apply(Routing::Effect const& effect);
    // Does the next thing on the way to `time`, and moves the clock to it; to `time` where there is
    // none. Returns whether there was one.
    bool advanceToNextStep(Zin::Seconds time);
    void printError(Zin::Error const& error);

    std::uint64_t const maxTaskRuns_;
    std::uint64_t line_ = 0;
    Zin::Seconds timeOfLine_ = 0.0;
    bool expectationFailed_ = false;
    Zin::Ptr<Zin::VirtualClock> const clock_;
    Output output_;
    AssertionPrinter assertionPrinter_;
    std::optional<TracePrinter> tracePrinter_;
    std::unique_ptr<Routing::Router> router_;
    std::unique_ptr<EventPrinter> eventPrinter_;
    RepairPrinter repairPrinter_;
    std::unique_ptr<Routing::Supervisor> supervisor_;
    std::unique_ptr<Routing::Timeline> timeline_;  // null where nothing is healed
    std::unique_ptr<FollowedEventPrinter> followedEventPrinter_;
};

}  // namespace Scenario
