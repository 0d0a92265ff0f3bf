#include "Zin/Turn.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Zin {
namespace {

[[noreturn]] void fail(char const* what) { throw std::runtime_error(what); }

// What `call` throws, "" if nothing.
template <class Call>
std::string failureOf(Call&& call) {
    try {
        call();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

TEST(Turn, ThrowsTheFirstFailureOfItsStepsOnceAllHaveRun) {
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn turn;
        turn.run([&] { ran += "a"; });
        turn.run([] { fail("first"); });
        turn.run([&] { ran += "b"; });
        turn.run([] { fail("second"); });
        turn.run([&] { ran += "c"; });
    });

    EXPECT_EQ(ran, "abc");
    EXPECT_EQ(failure, "first");
}

TEST(Turn, ThrowsNothingWhereNoStepFails) {
    EXPECT_NO_THROW({
        Turn turn;
        turn.run([] {});
    });
}

TEST(Turn, ThrowsOnlyFromTheOutermost) {
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn outer;
        {
            Turn inner;
            inner.run([] { fail("inner"); });
        }
        ran += "went on after the inner turn";
        outer.run([] { fail("outer"); });
    });

    EXPECT_EQ(ran, "went on after the inner turn");
    EXPECT_EQ(failure, "inner");
}

TEST(Turn, CountsTheFailuresAfterTheFirst) {
    std::uint64_t const before = Turn::suppressedFailures();
    std::string const failure = failureOf([] {
        Turn turn;
        turn.run([] { fail("first"); });
        turn.run([] { fail("second"); });
        turn.run([] { fail("third"); });
    });

    EXPECT_EQ(failure, "first");
    EXPECT_EQ(Turn::suppressedFailures(), before + 2);
}

TEST(Turn, DropsAndCountsItsFailureWhileAnExceptionIsOnItsWay) {
    struct FailingTurn {
        ~FailingTurn() noexcept(false) {
            Turn turn;
            turn.run([] { fail("in the destructor"); });
        }
    };
    std::uint64_t const before = Turn::suppressedFailures();
    std::string const failure = failureOf([] {
        FailingTurn const failing;
        fail("on its way");
    });

    EXPECT_EQ(failure, "on its way");
    EXPECT_EQ(Turn::suppressedFailures(), before + 1);
}

TEST(Turn, ThrowsAFailureThatWasSetOffByOneThatAStepDealtWith) {
    struct FailingTurn {
        ~FailingTurn() noexcept(false) {
            Turn turn;
            turn.run([] { fail("set off"); });
        }
    };
    std::string const failure = failureOf([] {
        Turn turn;
        turn.run([] {
            try {
                FailingTurn const failing;
                fail("dealt with");
            } catch (std::runtime_error const&) {
            }
        });
    });

    EXPECT_EQ(failure, "set off");
}

[[noreturn]] void breakInvariant(char const* what) {
    throw AssertionError({"Heron", "hasLegs", "wade", what});
}

TEST(Turn, ThrowsAFailedInvariantInPlaceOfAnErrorThatCameFirst) {
    std::uint64_t const before = Turn::suppressedFailures();
    std::string message;
    try {
        Turn turn;
        turn.run([] { fail("an error"); });
        turn.run([] { breakInvariant("the first"); });
        turn.run([] { breakInvariant("the second"); });
        turn.run([] { fail("a later error"); });
    } catch (AssertionError const& error) {
        message = error.message();
    }
    EXPECT_EQ(message, "the first");
    EXPECT_EQ(Turn::suppressedFailures(), before + 3);
}

TEST(Turn, ForgetsThatAnInvariantFailedWhenItEnds) {
    EXPECT_THROW(
        {
            Turn turn;
            turn.run([] { breakInvariant("of the first turn"); });
        },
        AssertionError);
    EXPECT_THROW(
        {
            Turn turn;
            turn.run([] { fail("an error"); });
            turn.run([] { breakInvariant("of the second turn"); });
        },
        AssertionError);
}

TEST(Turn, EndsTheProcessRatherThanDropAFailedInvariantWhileAnExceptionIsOnItsWay) {
    auto const failTwice = [] {
        Turn turn;
        turn.run([] { breakInvariant("kept"); });
        fail("on its way");
    };
    EXPECT_DEATH(
        try { failTwice(); } catch (std::runtime_error const&){}, "assertion 'can throw'.*kept");
}

TEST(Turn, OfADestructorLeavesItsFailureToTheOneInProgress) {
    std::string const failure = failureOf([] {
        Turn const turn;
        Turn::runInDestructor([] { fail("in the destructor"); });
    });
    EXPECT_EQ(failure, "in the destructor");

    EXPECT_DEATH(Turn::runInDestructor([] { fail("in the destructor"); }), "in the destructor");
}

TEST(Turn, TellsTheTextOfEachFailureThatItDrops) {
    static std::vector<std::string> dropped;
    dropped.clear();
    auto const before = suppressedFailureHandlerIs(
        [](std::string_view text) noexcept { dropped.emplace_back(text); });
    failureOf([] {
        Turn turn;
        turn.run([] { fail("first"); });
        turn.run([] { fail("second"); });
        turn.run([] { throw 3; });
    });
    suppressedFailureHandlerIs(before);

    EXPECT_EQ(dropped, (std::vector<std::string>{"second", "an exception of unknown type"}));
}

TEST(Turn, LeavesNothingBehindForTheNext) {
    EXPECT_EQ(failureOf([] {
                  Turn turn;
                  turn.run([] { fail("of the first turn"); });
              }),
              "of the first turn");

    EXPECT_EQ(failureOf([] { Turn const turn; }), "");
}

TEST(Turn, MayBeOpenedAgainByWhoCaughtTheFailureOfAnother) {
    std::string const failure = failureOf([] {
        try {
            Turn turn;
            turn.run([] { fail("caught"); });
        } catch (std::runtime_error const&) {
            Turn turn;
            turn.run([] { fail("thrown by the handler"); });
        }
    });

    EXPECT_EQ(failure, "thrown by the handler");
}

TEST(Turn, HasOneIdFromTheOutermostInAndAnotherNextTime) {
    EXPECT_FALSE(Turn::inProgress());
    EXPECT_EQ(Turn::id(), 0u);

    std::uint64_t first = 0;
    {
        Turn const outer;
        first = Turn::id();
        EXPECT_TRUE(Turn::inProgress());
        EXPECT_NE(first, 0u);
        {
            Turn const inner;
            EXPECT_EQ(Turn::id(), first);
        }
        EXPECT_EQ(Turn::id(), first);
    }
    EXPECT_FALSE(Turn::inProgress());
    EXPECT_EQ(Turn::id(), 0u);

    Turn const next;
    EXPECT_NE(Turn::id(), first);
}

TEST(Turn, RunsItsLastStepsWhenEverythingElseThatItSetOffIsOver) {
    std::string ran;
    {
        Turn outer;
        outer.run([&] {
            Turn inner;
            inner.run([&] {
                Turn::atEnd([&] { ran += " at the end"; });
                ran += "a step";
            });
        });
        ran += ", the rest";
        outer.run([&] { ran += ", another step"; });
        EXPECT_EQ(ran, "a step, the rest, another step");
    }
    EXPECT_EQ(ran, "a step, the rest, another step at the end");
}

TEST(Turn, RunsItsLastStepsOnceInTheOrderInWhichTheyWereLeft) {
    std::string ran;
    {
        Turn const turn;
        Turn::atEnd([&] {
            Turn::atEnd([&] { ran += "c"; });
            ran += "a";
        });
        Turn::atEnd([&] { ran += "b"; });
    }
    EXPECT_EQ(ran, "abc");

    { Turn const next; }
    EXPECT_EQ(ran, "abc");
}

TEST(Turn, IsStillInProgressWhileItsLastStepsRun) {
    std::uint64_t ofTheStep = 0;
    std::uint64_t ofTheTurn = 0;
    {
        Turn const turn;
        ofTheTurn = Turn::id();
        Turn::atEnd([&] { ofTheStep = Turn::id(); });
    }
    EXPECT_EQ(ofTheStep, ofTheTurn);
}

TEST(Turn, IsOfALastStepItselfWhereNoneIsInProgress) {
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn::atEnd([&] {
            ran += Turn::inProgress() ? "in a turn" : "in none";
            Turn::atEnd([&] { ran += ", and then"; });
            ran += ", whole";
            fail("in the last step");
        });
        ran += ", and went on";
    });

    EXPECT_EQ(ran, "in a turn, whole, and then");
    EXPECT_EQ(failure, "in the last step");
}

TEST(Turn, ThrowsWhatALastStepThrowsAfterTheOthersHaveRun) {
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn const turn;
        Turn::atEnd([] { fail("in the first"); });
        Turn::atEnd([&] { ran = "the second"; });
    });

    EXPECT_EQ(ran, "the second");
    EXPECT_EQ(failure, "in the first");
}

TEST(Turn, RunsItsLastStepsAlsoWhereItFailed) {
    std::uint64_t const before = Turn::suppressedFailures();
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn turn;
        Turn::atEnd([&] {
            ran = "at the end";
            fail("at the end");
        });
        turn.run([] { fail("a step"); });
    });

    EXPECT_EQ(ran, "at the end");
    EXPECT_EQ(failure, "a step");
    EXPECT_EQ(Turn::suppressedFailures(), before + 1);
}

TEST(Turn, RunsItsLastStepsAlsoWhileAnExceptionIsOnItsWay) {
    std::uint64_t const before = Turn::suppressedFailures();
    std::string ran;
    std::string const failure = failureOf([&] {
        Turn const turn;
        Turn::atEnd([&] {
            ran = "at the end";
            fail("at the end");
        });
        fail("on its way");
    });

    EXPECT_EQ(ran, "at the end");
    EXPECT_EQ(failure, "on its way");
    EXPECT_EQ(Turn::suppressedFailures(), before + 1);
}

}  // namespace
}  // namespace Zin
