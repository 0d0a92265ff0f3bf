#include "Trial.h"

#include <utility>

#include "Stage.h"
#include "Zin/Format.h"

namespace Nested {
namespace {

struct Result {
    std::uint32_t told = 0;
    std::uint32_t toldOfOldPrimary = 0;
    Tables found{};  // by the observer, when it had made its changes
    Tables atOnce{};
    Tables inTheEnd{};
    std::string failedInvariant{};
};

// `perform` gets a stage and a result to fill in.
template <class Perform>
Result resultOf(ChangeList const& list, Perform&& perform) {
    Result result;
    result.failedInvariant =
        actedOn({list.intfCleanupDelay, list.observerIsOlder}, [&](Stage& stage) {
            stage.applyAll(list.before);
            perform(stage, result);
            result.atOnce = stage.tables();
            stage.advance(allDelays);
            result.inTheEnd = stage.tables();
        });
    return result;
}

Result resultAfter(ChangeList const& list) {
    return resultOf(list, [&](Stage& stage, Result& result) {
        stage.observer().actIs(nullptr);
        if (replacesPrimary(list.outer, stage.router())) {
            stage.apply(operationsOf(list, Part::oldPrimary).front());
            result.toldOfOldPrimary = stage.observer().told();
        }
        stage.apply(list.outer);
        result.told = stage.observer().told();
        stage.applyAll(list.nested);
    });
}

Result resultBetween(ChangeList const& list) {
    return resultOf(
        list, [&](Stage& stage, Result&) { stage.applyAll(operationsOf(list, Part::oldPrimary)); });
}

Result resultWithin(ChangeList const& list, std::uint32_t notification) {
    return resultOf(list, [&](Stage& stage, Result& result) {
        stage.observer().actIs([&](std::uint32_t number) {
            if (number == notification) {
                stage.applyAll(list.nested);
                result.found = stage.tables();
            }
        });
        stage.apply(list.outer);
        result.told = stage.observer().told();
    });
}

std::string titled(std::string_view title, std::string const& difference) {
    return difference.empty() ? "" : fmt::format("{}:\n{}", title, difference);
}

std::string differenceOf(Result const& within, Result const& after, Promise const& promise,
                         Nimb::IntfId const& outerIntf) {
    if (!within.failedInvariant.empty()) {
        return within.failedInvariant + "\n";
    }
    std::string text;
    if (promise.foundWithin) {
        text += titled("found by the observer", difference(tableWithout(within.found, outerIntf),
                                                           tableWithout(after.atOnce, outerIntf)));
    }
    if (promise.atOnce) {
        text += titled("at once", difference(within.atOnce, after.atOnce));
    }
    return text +
           titled("once all delays have passed", difference(within.inTheEnd, after.inTheEnd));
}

// Whether the list still makes a difference without one of its operations; then it is left out.
bool dropOne(ChangeList& list, std::vector<Operation> ChangeList::*operations,
             Promise const& promise) {
    for (std::size_t i = (list.*operations).size(); i-- > 0;) {
        ChangeList fewer = list;
        auto& rest = fewer.*operations;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i));
        // The outer change may have fewer notifications by then.
        std::uint32_t notifications = 1;
        for (std::uint32_t when = 0; when < notifications; ++when) {
            fewer.when = when;
            Trial const trial = tried(fewer, promise);
            if (trial.outcome == Outcome::different) {
                list = fewer;
                return true;
            }
            notifications = trial.notifications;
        }
    }
    return false;
}

}  // namespace

Trial tried(ChangeList const& list, Promise const& promise) {
    Result after = resultAfter(list);
    if (!after.failedInvariant.empty()) {
        return {.outcome = Outcome::leftOut, .notifications = after.told};
    }
    if (after.told == 0) {
        return {.outcome = Outcome::notTold};
    }
    Trial trial{.notification = 1 + list.when % after.told, .notifications = after.told};
    if (trial.notification <= after.toldOfOldPrimary) {
        trial.part = Part::oldPrimary;
        after = resultBetween(list);
        if (!after.failedInvariant.empty()) {
            return {.outcome = Outcome::leftOut, .notifications = trial.notifications};
        }
    }
    Result const within = resultWithin(list, trial.notification);
    trial.difference = differenceOf(within, after, promise, list.outer.intf);
    trial.outcome = trial.difference.empty() ? Outcome::same : Outcome::different;
    trial.after = std::move(after.atOnce);
    return trial;
}

ChangeList shrunk(ChangeList list, Promise const& promise) {
    while (dropOne(list, &ChangeList::before, promise) ||
           dropOne(list, &ChangeList::nested, promise)) {
    }
    return list;
}

std::string report(ChangeList const& list, Promise const& promise) {
    ChangeList const least = shrunk(list, promise);
    Trial const trial = tried(least, promise);
    return fmt::format(
        "The observer is {} than the machine, and acts in notification {} of {}.\n{}{}",
        least.observerIsOlder ? "older" : "younger", trial.notification, trial.notifications,
        toScenario(least, trial.part), trial.difference);
}

}  // namespace Nested
