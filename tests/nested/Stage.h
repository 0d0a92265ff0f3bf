// Where changes are made, some of them by an observer of the table from within a notification.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ChangeList.h"
#include "Pell/Assertion.h"
#include "Tables.h"
#include "Velk/YieldPolicy.h"
#include "random/StatusChange.h"

namespace Nested {

// Once so much time has passed without a change, nothing waits any more for a delay alone.
inline constexpr Zin::Seconds allDelays = 20.0;

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

// Counts the notifications of a table and of the sets in it, and may act in each.
class Observer final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    explicit Observer(Zin::Ptr<IpLib::IntfAddrVrfTable> const& table) { notifierIs(table); }

    // Starts counting. `act` is called in each notification from now on with its number, from 1;
    // null is not.
    void actIs(std::function<void(std::uint32_t)> act) {
        told_ = 0;
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
        ++told_;
        if (act_) {
            act_(told_);
        }
    }

    std::vector<std::unique_ptr<SetObserver>> setObservers_;
    std::function<void(std::uint32_t)> act_;
    std::uint32_t told_ = 0;
};

// A router with one VRF, an observer of its table, and time.
class Stage {
public:
    struct Options {
        Zin::Seconds intfCleanupDelay = 1.5;
        // Whether the observer is told before the VRF's machine is.
        bool observerIsOlder = false;
    };

    explicit Stage(Options const& options)
        : options_(options),
          router_({.intfCleanupDelay = options.intfCleanupDelay}, clock_,
                  std::make_unique<Velk::EveryNth>(0)) {
        RandomStatus::prepare(router_);
    }

    // Brings the observer, and what is there before everything (see setup()).
    void begin() {
        if (options_.observerIsOlder) {
            router_.managerStop().apply();
        }
        observer_.emplace(router_.table(RandomStatus::vrf));
        if (options_.observerIsOlder) {
            router_.managerStart().apply();
        }
        applyAll(setup());
    }

    // What fails in that is thrown here, and no more when the router goes.
    void end() {
        observer_->actIs(nullptr);
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
    Options const options_;
    Zin::Ptr<Zin::VirtualClock> const clock_ = Zin::make<Zin::VirtualClock>();
    Routing::Router router_;
    std::optional<Observer> observer_;
};

// Has `perform` act on a stage that has begun. Returns the first invariant that failed on it, "" if
// none did; what fails when the stage goes is nobody's concern.
template <class Perform>
std::string actedOn(Stage::Options const& options, Perform&& perform) {
    FailedInvariants const failed;
    Stage stage(options);
    // A failed invariant is the first one, or came of that.
    auto const contained = [](auto const& step) {
        try {
            step();
        } catch (Pell::AssertionError const&) {
        }
    };
    contained([&] {
        stage.begin();
        perform(stage);
    });
    std::string const first = FailedInvariants::first();
    contained([&] { stage.end(); });
    return first;
}

}  // namespace Nested
