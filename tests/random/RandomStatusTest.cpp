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

struct Bench {
    explicit Bench(Tuning const& tuning)
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
    Bench bench(anyTuning());

    for (auto const& change : changes) {
        apply(change, Plan::disjoint, bench.router, *bench.clock);
    }
    advance(10.0, bench.router, *bench.clock);

    if (bench.router.tables()->intfAddrVrfTableHas(vrf)) {
        auto const expected = expectedRows(bench.router);
        RC_ASSERT(rows(bench.router) == expected);
        RC_ASSERT(indexedRows(bench.router) == expected);
        RC_ASSERT(setRows(bench.router) == expectedSetRows(bench.router));
        RC_ASSERT(std::ranges::includes(expectedDeprecatedRows(bench.router),
                                        deprecatedSetRows(bench.router)));
        RC_ASSERT(linkLocals(bench.router) == expectedLinkLocals(bench.router));
        RC_ASSERT(bench.router.deferredAddrs(vrf).empty());
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
        auto bench = std::make_unique<Bench>(anyTuning());
        for (auto const& change : changes) {
            auto const outcome =
                outcomeOf([&] { apply(change, Plan::shared, bench->router, *bench->clock); });
            if (outcome == Outcome::assertionFailed &&
                outcomeOf([&] { bench->router.tableAdd(vrf); }) == Outcome::fine) {
                RC_ASSERT(std::ranges::includes(expectedRows(bench->router), rows(bench->router)));
            }
            ++applied;
        }
        Zin::Turn const turn;
        bench = nullptr;
    });
    RC_ASSERT(applied == changes.size());
}

}  // namespace
}  // namespace RandomStatus
