#include "router/repair/VrfState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Zin/Format.h"
#include "router/EffectOf.h"
#include "router/OperationError.h"
#include "router/TestOperations.h"
#include "router/repair/TestRouter.h"

namespace Routing {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<RecordedOperation> stateOf(Router const& router, Zin::Seconds& elapsed) {
    std::vector<RecordedOperation> operations;
    VrfState state(router, "red", VrfState::Times::kept, [&operations](RecordedOperation made) {
        operations.push_back(std::move(made));
    });
    while (state.step()) {
    }
    elapsed = state.elapsed();
    return operations;
}

// A router of its own that is what the other one is now.
struct Copy : TestRouter {
    explicit Copy(TestRouter const& original) {
        inputs.ipVrfDel("red").apply();
        inputs.ip6VrfDel("red").apply();
        router.tableDel("red").apply();
        Zin::Seconds elapsed = 0.0;
        for (auto const& [at, operation] : stateOf(original.router, elapsed)) {
            if (at) {
                advance(std::max(0.0, *at - clock->now()));
            }
            try {
                effectOf(router, operation).apply();
            } catch (Zin::RangeError const&) {  // a deprecated link-local address
            }
        }
        advance(elapsed - clock->now());
    }
};

Texts texts(TestRouter const& original) {
    Texts texts;
    Zin::Seconds elapsed = 0.0;
    for (auto const& [at, operation] : stateOf(original.router, elapsed)) {
        texts.push_back((at ? fmt::format("{}: ", *at) : "") + text(operation));
    }
    texts.push_back(fmt::format("{}", elapsed));
    return texts;
}

// Both have the same rows and the same queue, now and until nothing is due any more.
void expectTheSameFuture(TestRouter& original, Copy& copy, std::string const& what) {
    for (int tenths = 0; tenths < 80; ++tenths) {
        ASSERT_EQ(copy.content(), original.content()) << what << " after " << tenths << " tenths";
        ASSERT_EQ(copy.queue(), original.queue()) << what << " after " << tenths << " tenths";
        // Never at a time at which something is due, which rounding may move.
        original.advance(tenths == 0 ? 0.03 : 0.1);
        copy.advance(tenths == 0 ? 0.03 : 0.1);
    }
}

void expectTheSameFuture(TestRouter& original, std::string const& what = {}) {
    Copy copy(original);
    expectTheSameFuture(original, copy, what);
}

TEST(VrfState, WhatIsPublishedIsWrittenBeforeWhatWaits) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.ip("eth1", "10.0.0.2/24");
    test.advance(10.0);

    // Tried in vain twice at most: whoever waits does so until something changes.
    EXPECT_THAT(
        texts(test),
        ElementsAre(
            "TableAdd red", "KernelAdd red eth0  0 up true", "KernelAdd red eth1  0 up true",
            "IpVrfAdd red", "Ip6VrfAdd red", "Ip6IntfAdd red eth0", "Ip6IntfAdd red eth1",
            "IpIntfAdd red eth0 0.0.0.0/0 from ''", "IpIntfAdd red eth1 0.0.0.0/0 from ''",
            "IpPrimaryIs red eth0 10.0.0.1/24", "0: IpPrimaryIs red eth1 10.0.0.2/24", "6"));
    expectTheSameFuture(test);
}

TEST(VrfState, AnInterfaceWithoutStatusLeavesWhenItsCleanUpIsDue) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.secondary("eth0", "10.0.1.1/24");
    test.ip6("eth0", "2001:db8::1/64");
    test.ip6("eth0", "2001:db8::2/64", true);
    test.inputs.ipIntfDel("red", "eth0").apply();
    test.advance(0.4);
    test.inputs.ip6IntfDel("red", "eth0").apply();
    test.advance(0.5);
    ASSERT_THAT(test.rows().size(), 4U);
    expectTheSameFuture(test);
    EXPECT_THAT(test.rows(), IsEmpty());
}

TEST(VrfState, AnInterfaceWithoutADeviceLeavesWhenItsCleanUpIsDue) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.secondary("eth0", "10.0.1.1/24");
    test.ip6("eth0", "fe80::1/64");
    test.inputs.kernelDel("red", "eth0").apply();
    test.advance(0.5);
    // Gone, but for its row; and one that comes too late for one.
    test.inputs.ipSecondaryDel("red", "eth0", Nimb::IpAddrWithMask("10.0.1.1/24")).apply();
    test.inputs.ipSecondaryAdd("red", "eth0", Nimb::IpAddrWithMask("10.0.2.1/24")).apply();
    ASSERT_THAT(test.rows(),
                ElementsAre("10.0.0.1/24 eth0", "10.0.1.1/24 eth0", "fe80::1/64 eth0"));
    expectTheSameFuture(test);
    EXPECT_THAT(test.rows(), IsEmpty());
}

TEST(VrfState, WhatWaitsForALeavingInterfaceComesWhenItDoes) {
    for (double const between : {0.0, 0.3, 1.2}) {
        TestRouter test;
        test.ip("eth0", "10.0.0.1/24");
        test.inputs.ipIntfDel("red", "eth0").apply();
        test.advance(between);
        test.ip("eth1", "10.0.0.2/24");
        test.advance(0.2);
        ASSERT_THAT(test.queue(), ElementsAre("10.0.0.2/24 eth1"));
        expectTheSameFuture(test, fmt::format("{} s between", between));
        EXPECT_THAT(test.rows(), ElementsAre("10.0.0.2/24 eth1"));
    }
}

TEST(VrfState, WhatWaitsBeforeItsOwnerLeavesComesWhenItDoes) {
    for (double const between : {0.1, 0.5, 2.5, 9.0}) {
        TestRouter test;
        test.ip("eth0", "10.0.0.1/24");
        test.ip("eth1", "10.0.0.2/24");
        test.advance(between);
        test.inputs.ipIntfDel("red", "eth0").apply();
        test.advance(0.2);
        expectTheSameFuture(test, fmt::format("{} s between", between));
        EXPECT_THAT(test.rows(), ElementsAre("10.0.0.2/24 eth1"));
    }
}

TEST(VrfState, WhatWaitsAndLeavesIsForgottenWithItsInterface) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.ip("eth1", "10.0.0.2/24");
    test.inputs.kernelDel("red", "eth1").apply();
    test.inputs.ipIntfDel("red", "eth1").apply();
    test.advance(0.2);
    Copy copy(test);
    EXPECT_EQ(copy.queue(), test.queue());
    expectTheSameFuture(test, copy, "");
}

TEST(VrfState, AVrfWithoutStatusLeavesWhole) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.ip6("eth0", "2001:db8::1/64");
    test.inputs.ipVrfDel("red").apply();
    test.advance(0.5);
    expectTheSameFuture(test);
    EXPECT_THAT(test.rows(), ElementsAre("2001:db8::1/64 eth0"));
}

TEST(VrfState, OtherVrfsAreLeftOut) {
    TestRouter test;
    test.vrf("blue");
    test.inputs.kernelAdd("blue", "eth0", {}).apply();
    test.inputs.vipAdd("blue", Nimb::IpAddrWithMask("10.0.0.9/32")).apply();
    test.inputs.vip6Add("red", Nimb::Ip6Addr("2001:db8::9")).apply();
    auto const all = texts(test);
    EXPECT_THAT(all, Contains("Vip6Add red 2001:db8::9"));
    EXPECT_THAT(all, Not(Contains(HasSubstr("blue"))));
}

void doAnything(TestRouter& test, std::mt19937& random) {
    auto const roll = [&random](unsigned sides) { return static_cast<unsigned>(random() % sides); };
    std::string const intf = fmt::format("eth{}", roll(4));
    std::string const addr = fmt::format("10.0.{}.{}/24", roll(3), 1 + roll(3));
    // An address that is both, and then one of them, is lost (until an audit finds it).
    std::string const other = fmt::format("10.0.{}.{}/24", roll(3), 4 + roll(3));
    std::string const addr6 = fmt::format("2001:db8:{}::{}/64", roll(2), 1 + roll(3));
    try {
        switch (roll(8)) {
            case 0:
            case 1:
                test.ip(intf, addr.c_str());
                break;
            case 2:
                test.secondary(intf, other.c_str());
                break;
            case 3:
                test.ip6(intf, addr6.c_str(), roll(3) == 0);
                break;
            case 4:
                test.inputs.ipIntfDel("red", intf).apply();
                break;
            case 5:
                test.inputs.ip6IntfDel("red", intf).apply();
                break;
            case 6:
                test.inputs.kernelDel("red", intf).apply();
                break;
            default:
                test.inputs.kernelAdd("red", intf, {}).apply();
        }
    } catch (OperationError const&) {  // it was not there
    }
    test.advance(roll(8) / 4.0);
}

TEST(RandomVrfState, ACopyHasTheSameFuture) {
    int waited = 0;
    int left = 0;
    for (unsigned seed = 0; seed < 500; ++seed) {
        std::mt19937 random(seed);
        TestRouter test;
        try {
            for (int step = 0; step < 25; ++step) {
                doAnything(test, random);
            }
            auto const deferred = test.router.deferredAddrs("red");
            if (std::ranges::any_of(deferred, [](auto const& addr) { return !addr.holder; })) {
                continue;  // comes at once in the copy
            }
            auto const what = fmt::format("seed {}", seed);
            if (test.machine()->intfCleanupBacklog()->backlog().size() > 0) {
                ++left;
            }
            if (deferred.empty()) {
                ASSERT_NO_FATAL_FAILURE(expectTheSameFuture(test, what));
            } else {
                // Whoever was tried already, and is tried once more, may have to wait longer.
                ++waited;
                Copy copy(test);
                ASSERT_THAT(copy.queue(), testing::UnorderedElementsAreArray(test.queue())) << what;
                test.advance(10.03);
                copy.advance(10.03);
                ASSERT_EQ(copy.content(), test.content()) << what;
                ASSERT_EQ(copy.queue(), test.queue()) << what;
            }
        } catch (Pell::AssertionError const&) {  // what it has come to has no future
        }
    }
    EXPECT_GT(waited, 30);
    EXPECT_GT(left, 30);
}

}  // namespace
}  // namespace Routing
