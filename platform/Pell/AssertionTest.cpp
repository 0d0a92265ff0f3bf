#include "Pell/Assertion.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>

#include "Zin/Format.h"

namespace {

// Its display fails.
struct Unspeakable {};

}  // namespace

template <>
struct fmt::formatter<Unspeakable> : fmt::formatter<int> {
    template <class Context>
    auto format(Unspeakable, Context& context) const -> decltype(context.out()) {
        throw std::runtime_error("unspeakable");
    }
};

namespace Pell {
namespace {

class Assertions : public testing::Test {
protected:
    [[noreturn]] void fail() const {
        fmassert(handle, "a == b", "compare", "{} is not {}", 1, "two");
    }

    TraceHandle const handle{"Heron"};
};

using AssertionsDeathTest = Assertions;

TEST_F(AssertionsDeathTest, ReportOnStderrAndAbort) {
    EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT),
                "^Heron::compare: assertion 'a == b' failed: 1 is not two\n$");
}

TEST_F(AssertionsDeathTest, AbortWhereTheHandlerReturns) {
    auto const handler = [](AssertionFailure const& failure) {
        fmt::print(stderr, "seen {}", failure.message);
    };
    auto const failUnderHandler = [&] {
        assertionHandlerIs(handler);
        fail();
    };
    EXPECT_EXIT(failUnderHandler(), testing::KilledBySignal(SIGABRT), "^seen 1 is not two$");
}

TEST_F(Assertions, ThrowWhereAskedTo) {
    ThrowOnAssertion const throws;
    try {
        fail();
        FAIL() << "went on after a failed assertion";
    } catch (AssertionError const& error) {
        EXPECT_EQ(error.className(), "Heron");
        EXPECT_EQ(error.condition(), "a == b");
        EXPECT_EQ(error.function(), "compare");
        EXPECT_EQ(error.message(), "1 is not two");
        EXPECT_STREQ(error.what(), "Heron::compare: assertion 'a == b' failed: 1 is not two");
    }
}

TEST_F(Assertions, AreToldByTheirFormatWhereTheyCannotBeFormatted) {
    ThrowOnAssertion const throws;
    try {
        fmassert(handle, "a == b", "compare", "{} is not {}", 1, Unspeakable());
        FAIL() << "went on after a failed assertion";
    } catch (AssertionError const& error) {
        EXPECT_EQ(error.message(), "{} is not {}");
    }
}

TEST_F(Assertions, ThrowingEndsWithTheScopeThatAskedForIt) {
    auto const handler = [](AssertionFailure const&) {};
    AssertionHandler const before = assertionHandlerIs(handler);
    {
        ThrowOnAssertion const outer;
        { ThrowOnAssertion const inner; }
        EXPECT_THROW(fail(), AssertionError);
    }
    EXPECT_EQ(assertionHandlerIs(before), +handler);
}

}  // namespace
}  // namespace Pell
