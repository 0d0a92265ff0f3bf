#include "Pell/Trace.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Pell/Assertion.h"
#include "Zin/Format.h"
#include "Zin/Turn.h"

namespace Pell {

// Tells when it is made into text, and what that leads to.
struct Spy {
    std::function<void()> whenFormatted;
};

}  // namespace Pell

template <>
struct fmt::formatter<Pell::Spy> : fmt::formatter<fmt::string_view> {
    template <class Context>
    auto format(Pell::Spy const& spy, Context& context) const {
        spy.whenFormatted();
        return fmt::formatter<fmt::string_view>::format("spy", context);
    }
};

namespace Pell {
namespace {

using Lines = std::vector<std::string>;

class Recorder final : public Sink {
public:
    Recorder() : previous_(sinkIs(this)) {}
    ~Recorder() { sinkIs(previous_); }

    void trace(Trace const& trace) override {
        lines.push_back(fmt::format("{} {}::{}: {}", trace.level, trace.className, trace.function,
                                    trace.message));
        if (then) {
            then();
        }
    }

    Lines lines;
    std::function<void()> then;

private:
    Sink* const previous_;
};

class Tracing : public testing::Test {
protected:
    Tracing() { traceLevelIs("Heron", 8); }
    ~Tracing() override { traceLevelIs("*", 0); }

    TraceHandle const handle{"Heron"};
};

TEST_F(Tracing, HandsLevelClassFunctionAndMessageToTheSink) {
    Recorder recorder;
    fmtrace(handle, 8, "wade", "{} of {} is {}", 2, "legs", true);
    EXPECT_EQ(recorder.lines, Lines{"8 Heron::wade: 2 of legs is true"});
}

TEST_F(Tracing, FormatsNothingForADisabledLevel) {
    Recorder recorder;
    int formatted = 0;
    Spy const spy{[&] { ++formatted; }};
    fmtrace(handle, 9, "wade", "{}", spy);
    EXPECT_EQ(formatted, 0);
    EXPECT_EQ(recorder.lines, Lines{});

    fmtrace(handle, 8, "wade", "{}", spy);
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(recorder.lines, Lines{"8 Heron::wade: spy"});
}

TEST_F(Tracing, WritesALineToStderrWhereNoSinkIs) {
    testing::internal::CaptureStderr();
    fmtrace(handle, 3, "wade", "through {} {{}}", "%s");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "3 Heron::wade: through %s {}\n");
}

TEST_F(Tracing, ReturnsTheSinkThatWasReplaced) {
    Recorder outer;
    {
        Recorder inner;
        fmtrace(handle, 3, "wade", "in");
        EXPECT_EQ(inner.lines, Lines{"3 Heron::wade: in"});
    }
    fmtrace(handle, 3, "wade", "out");
    EXPECT_EQ(outer.lines, Lines{"3 Heron::wade: out"});
    EXPECT_EQ(sinkIs(&outer), &outer);
}

TEST_F(Tracing, ASinkThatThrowsDoesNotDisturbTheTracedCode) {
    Recorder recorder;
    recorder.then = [] { throw std::runtime_error("disk full"); };
    auto const before = droppedTraces();
    EXPECT_NO_THROW(fmtrace(handle, 3, "wade", "one"));
    EXPECT_EQ(droppedTraces(), before + 1);

    recorder.then = nullptr;
    fmtrace(handle, 3, "wade", "two");
    EXPECT_EQ(recorder.lines, (Lines{"3 Heron::wade: one", "3 Heron::wade: two"}));
    EXPECT_EQ(droppedTraces(), before + 1);
}

TEST_F(Tracing, AFormatterThatThrowsLosesOnlyItsTrace) {
    Recorder recorder;
    Spy const spy{[] { throw std::runtime_error("no text"); }};
    auto const before = droppedTraces();
    EXPECT_NO_THROW(fmtrace(handle, 3, "wade", "{}", spy));
    EXPECT_EQ(recorder.lines, Lines{});
    EXPECT_EQ(droppedTraces(), before + 1);
}

TEST_F(Tracing, AnInvariantThatFailsInAFormatterIsThrown) {
    ThrowOnAssertion const throwOnAssertion;
    Recorder recorder;
    Spy const spy{[&] { fmassert(handle, "hasText", "format", "no text"); }};
    auto const before = droppedTraces();

    EXPECT_THROW(fmtrace(handle, 3, "wade", "{}", spy), AssertionError);

    EXPECT_EQ(droppedTraces(), before);
    fmtrace(handle, 3, "wade", "on");
    EXPECT_EQ(recorder.lines, Lines{"3 Heron::wade: on"});
}

TEST_F(Tracing, AnInvariantThatFailsInAFormatterWithinATurnFailsTheTurn) {
    ThrowOnAssertion const throwOnAssertion;
    Recorder recorder;
    Spy const spy{[&] { fmassert(handle, "hasText", "format", "no text"); }};
    auto const traceInATurn = [&] {
        Zin::Turn const turn;
        fmtrace(handle, 3, "wade", "{}", spy);
        fmtrace(handle, 3, "wade", "on");
    };

    EXPECT_THROW(traceInATurn(), AssertionError);

    EXPECT_EQ(recorder.lines, Lines{"3 Heron::wade: on"});
}

TEST_F(Tracing, AnInvariantThatFailsInTheSinkIsThrown) {
    ThrowOnAssertion const throwOnAssertion;
    Recorder recorder;
    recorder.then = [&] { fmassert(handle, "hasRoom", "write", "no room"); };
    EXPECT_THROW(fmtrace(handle, 3, "wade", "one"), AssertionError);

    recorder.then = nullptr;
    fmtrace(handle, 3, "wade", "two");
    EXPECT_EQ(recorder.lines, (Lines{"3 Heron::wade: one", "3 Heron::wade: two"}));
}

TEST_F(Tracing, AFormatterMayTrace) {
    Recorder recorder;
    Spy const spy{[&] { fmtrace(handle, 8, "look", "inner"); }};
    fmtrace(handle, 3, "wade", "{}", spy);
    EXPECT_EQ(recorder.lines, (Lines{"8 Heron::look: inner", "3 Heron::wade: spy"}));
}

TEST_F(Tracing, ASinkThatTracesIsHeardOnStderr) {
    Recorder recorder;
    recorder.then = [&] { fmtrace(handle, 3, "sink", "nested"); };
    testing::internal::CaptureStderr();
    fmtrace(handle, 3, "wade", "one");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "3 Heron::sink: nested\n");
    EXPECT_EQ(recorder.lines, Lines{"3 Heron::wade: one"});
}

TEST_F(Tracing, ASinkMaySwitchLevelsAndReplaceItself) {
    Recorder successor;
    Recorder recorder;
    recorder.then = [&] {
        traceLevelIs("Heron", 3);
        sinkIs(&successor);
    };
    fmtrace(handle, 8, "wade", "one");
    fmtrace(handle, 8, "wade", "two");
    fmtrace(handle, 3, "wade", "three");
    EXPECT_EQ(recorder.lines, Lines{"8 Heron::wade: one"});
    EXPECT_EQ(successor.lines, Lines{"3 Heron::wade: three"});
}

}  // namespace
}  // namespace Pell
