#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Pell/Assertion.h"
#include "PlainRules.h"
#include "StatusChange.h"
#include "Velk/YieldPolicy.h"
#include "Zin/Errors.h"
#include "Zin/Turn.h"

template <>
struct rc::Arbitrary<RandomStatus::Change> {
    static Gen<RandomStatus::Change> arbitrary() {
        using RandomStatus::Change;
        auto const number = gen::inRange<std::uint8_t>(0, 64);
        return gen::build<Change>(gen::set(&Change::kind, number), gen::set(&Change::intf, number),
                                  gen::set(&Change::addr, number),
                                  gen::set(&Change::variant, number));
    }
};

namespace RandomStatus {
namespace {

using Changes = std::vector<Change>;

struct Tuning {
    Zin::Seconds cleanupDelay;
    Zin::Seconds deferredDelay;
    std::uint32_t yieldEvery;
};

Tuning anyTuning() {
    return {*rc::gen::element(0.0, 1.5, 0.25), *rc::gen::element(0.0, 2.0, 0.25),
            *rc::gen::element(0u, 1u, 2u)};
}

struct Fixture {
    explicit Fixture(Tuning const& tuning)
        : router({.intfCleanupDelay = tuning.cleanupDelay,
                  .deferredIntfAddDelay = tuning.deferredDelay},
                 clock, std::make_unique<Velk::EveryNth>(tuning.yieldEvery)) {
        prepare(router);
    }

    Zin::Ptr<Zin::VirtualClock> const clock = Zin::make<Zin::VirtualClock>();
    Routing::Router router;
};

enum class Outcome { fine, refused, assertionFailed };

// Runs one step as a caller who expects what a router may throw.
template <class Step>
Outcome outcomeOf(Step&& step) {
    try {
        step();
        return Outcome::fine;
    } catch (Zin::RangeError const&) {
        return Outcome::refused;
    } catch (Pell::AssertionError const&) {
        return Outcome::assertionFailed;
    }
}

RC_GTEST_PROP(RandomStatus, InterfacesThatKeepApartHaveTheRowsOfTheirStatusInTheEnd,
              (Changes const& changes)) {
    Fixture fixture(anyTuning());

    for (auto const& change : changes) {
        apply(change, Plan::disjoint, fixture.router, *fixture.clock);
    }
    advance(10.0, fixture.router, *fixture.clock);

    if (fixture.router.tables()->intfAddrVrfTableHas(vrf)) {
        auto const expected = expectedRows(fixture.router);
        RC_ASSERT(rows(fixture.router) == expected);
        RC_ASSERT(indexedRows(fixture.router) == expected);
        RC_ASSERT(setRows(fixture.router) == expectedSetRows(fixture.router));
        RC_ASSERT(std::ranges::includes(expectedDeprecatedRows(fixture.router),
                                        deprecatedSetRows(fixture.router)));
        RC_ASSERT(linkLocals(fixture.router) == expectedLinkLocals(fixture.router));
        RC_ASSERT(fixture.router.deferredAddrs(vrf).empty());
    }
}

// Where interfaces fight for addresses, a machine may come to a state that it holds for impossible.
// That is reported to whoever caused it, the end of the router included; then the VRF gets a fresh
// table and machine, and goes on.
RC_GTEST_PROP(RandomStatus, InterfacesThatFightForAddressesLeaveNothingBroken,
              (Changes const& changes)) {
    Pell::ThrowOnAssertion const throwing;
    std::size_t applied = 0;
    outcomeOf([&] {
        auto fixture = std::make_unique<Fixture>(anyTuning());
        for (auto const& change : changes) {
            auto const outcome =
                outcomeOf([&] { apply(change, Plan::shared, fixture->router, *fixture->clock); });
            if (outcome == Outcome::assertionFailed &&
                outcomeOf([&] { fixture->router.tableAdd(vrf).apply(); }) == Outcome::fine) {
                RC_ASSERT(
                    std::ranges::includes(expectedRows(fixture->router), rows(fixture->router)));
            }
            ++applied;
        }
        Zin::Turn const turn;
        fixture = nullptr;
    });
    RC_ASSERT(applied == changes.size());
}

}  // namespace
}  // namespace RandomStatus
