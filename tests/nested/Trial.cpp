#include "Trial.h"

#include <fmt/format.h>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "Pell/Assertion.h"
#include "Velk/YieldPolicy.h"
#include "random/StatusChange.h"

namespace Nested {
namespace {

constexpr Zin::Seconds allDelays = 20.0;

// While it lives, an invariant that fails throws, and the first one is kept, whoever swallows what
// is thrown.
class FailedInvariants {
public:
    FailedInvariants() : previous_(Pell::assertionHandlerIs(handle)) { first_.clear(); }
    ~FailedInvariants() { Pell::assertionHandlerIs(previous_); }
    FailedInvariants(FailedInvariants const&) = delete;
    FailedInvariants& operator=(FailedInvariants const&) = delete;

    static std::string const& first() { return first_; }

private:
    static void handle(Pell::AssertionFailure const& failure) {
        if (first_.empty()) {
            first_ = toText(failure);
        }
        throw Pell::AssertionError(failure);
    }

    static inline std::string first_;
    Pell::AssertionHandler const previous_;
};

// Counts the notifications of a table and of the sets in it, and acts in one of them.
class Observer final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    explicit Observer(Zin::Ptr<IpLib::IntfAddrVrfTable> const& table) { notifierIs(table); }

    // Starts counting. Of the notifications from now on, `act` is called in number `when`, from 1;
    // of 0, in none.
    void actIs(std::uint32_t when, std::function<void()> act) {
        told_ = 0;
        when_ = when;
        act_ = std::move(act);
    }
    std::uint32_t told() const { return told_; }

private:
    class SetObserver final : public IpLib::IntfAddrEntrySet::Notifiee {
    public:
        SetObserver(Zin::Ptr<IpLib::IntfAddrEntrySet> const& set, Observer& observer)
            : observer_(observer) {
            notifierIs(set);
        }

    private:
        void handleIntfAddrEntry(IpLib::IntfAddrEntryKey const&) override { observer_.tell(); }
        void handleDeprecatedIntfAddrEntry(IpLib::IntfAddrEntryKey const&) override {
            observer_.tell();
        }

        Observer& observer_;
    };

    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const&) override { tell(); }
    void handleIntfAddrEntryFromAddr(IpLib::IntfAddrEntryKey const&) override { tell(); }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const& subnet) override {
        if (auto const set = notifier()->intfAddrEntrySetFromSubnet(subnet)) {
            setObservers_.push_back(std::make_unique<SetObserver>(set, *this));
        }
        tell();
    }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const&) override { tell(); }

    void tell() {
        if (++told_ == when_) {
            act_();
        }
    }

    std::vector<std::unique_ptr<SetObserver>> setObservers_;
    std::function<void()> act_;
    std::uint32_t told_ = 0;
    std::uint32_t when_ = 0;
};

// A router that stands where the outer change comes.
class Stage {
public:
    explicit Stage(ChangeList const& list)
        : router_({.intfCleanupDelay = list.intfCleanupDelay}, clock_,
                  std::make_unique<Velk::EveryNth>(0)) {
        RandomStatus::prepare(router_);
    }

    void begin(ChangeList const& list) {
        if (list.observerIsOlder) {
            router_.managerStop().apply();
        }
        observer_.emplace(router_.table(RandomStatus::vrf));
        if (list.observerIsOlder) {
            router_.managerStart().apply();
        }
        applyAll(setup());
        applyAll(list.before);
    }

    // What fails in that is thrown here, and no more when the router goes.
    void end() {
        if (router_.managerRuns()) {
            router_.managerStop().apply();
        }
    }

    void apply(Operation const& operation) { Nested::apply(operation, router_, *clock_); }
    void applyAll(std::vector<Operation> const& operations) {
        for (auto const& operation : operations) {
            apply(operation);
        }
    }
    void advance(Zin::Seconds seconds) { RandomStatus::advance(seconds, router_, *clock_); }

    Observer& observer() { return *observer_; }
    Routing::Router& router() { return router_; }
    Tables tables() const { return tablesOf(router_); }

private:
    Zin::Ptr<Zin::VirtualClock> const clock_ = Zin::make<Zin::VirtualClock>();
    Routing::Router router_;
    std::optional<Observer> observer_;
};

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
    FailedInvariants const failed;
    Stage stage(list);
    // A failed invariant is the first one, or came of that.
    auto const contained = [](auto const& step) {
        try {
            step();
        } catch (Pell::AssertionError const&) {
        }
    };
    contained([&] {
        stage.begin(list);
        perform(stage, result);
        result.atOnce = stage.tables();
        stage.advance(allDelays);
        result.inTheEnd = stage.tables();
    });
    result.failedInvariant = FailedInvariants::first();
    contained([&] { stage.end(); });
    return result;
}

Result resultAfter(ChangeList const& list) {
    return resultOf(list, [&](Stage& stage, Result& result) {
        stage.observer().actIs(0, nullptr);
        if (replacesPrimary(list.outer, stage.router())) {
            stage.apply(inOrder(list, Part::oldPrimary).front());
            result.toldOfOldPrimary = stage.observer().told();
        }
        stage.apply(list.outer);
        result.told = stage.observer().told();
        stage.applyAll(list.nested);
    });
}

Result resultBetween(ChangeList const& list) {
    return resultOf(
        list, [&](Stage& stage, Result&) { stage.applyAll(inOrder(list, Part::oldPrimary)); });
}

Result resultWithin(ChangeList const& list, std::uint32_t notification) {
    return resultOf(list, [&](Stage& stage, Result& result) {
        stage.observer().actIs(notification, [&] {
            stage.applyAll(list.nested);
            result.found = stage.tables();
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
