// One turn: everything that one outermost call into the framework sets off.
//
// A mutator notifies, a handler answers by mutating something else, the last pointer of a machine
// goes away and its teardown mutates more: all of that runs on one stack, inside the one call that
// started it. A Turn is that call's bracket. Three things hold inside it:
//
//   - Handlers run to their end. What one handler throws is kept, the others still run, and each
//     mutator finishes what it writes, so no observer misses an event and nothing is half written
//     because a neighbour failed.
//   - One failure is thrown when the outermost turn ends, to whoever made that call: the first
//     failed invariant (Zin::AssertionError), else the first of all. The others are counted
//     (suppressedFailures) and told to suppressedFailureHandlerIs's handler, which is the trace
//     ring where that is linked. So are errors of a turn that ends while an exception is on its way
//     already; a failed invariant that cannot be thrown then ends the process (failUnthrown).
//   - Framework time stands still: a clock reads the world once a turn (see id()).
//
// Whoever has to see what all of that comes to leaves a step for the end of the turn (atEnd).
//
// Every mutator of an attribute is a turn (Attribute, Collection, Child, Children). What it
// replaces or removes goes at the end of that turn, save for what it returns, which goes where its
// caller lets it go. Containers open no turns.
//
// Turns nest freely; only the outermost one throws. A Turn lives on the stack, of one thread.
#pragma once

#include <cstdint>
#include <exception>
#include <string_view>
#include <utility>

#include "Zin/Fail.h"
#include "Zin/Step.h"

namespace Zin {

namespace Detail {

// Of a thread's turn. Read and written on every notification, so they are plain words that need no
// initialisation guard.
struct TurnState {
    std::uint64_t started = 0;
    std::uint64_t suppressed = 0;
    std::uint32_t depth = 0;
    bool failed = false;
    bool brokeInvariant = false;  // what is kept is an AssertionError
    bool hasLastSteps = false;
};
[[gnu::visibility("default")]] inline constinit thread_local TurnState turnState;

}  // namespace Detail

class Turn {
public:
    Turn() noexcept {
        auto& state = Detail::turnState;
        if (state.depth++ == 0) {
            ++state.started;
        }
    }
    // Throws the turn's failure if this was the outermost turn and nothing is being unwound.
    ~Turn() noexcept(false) {
        auto& state = Detail::turnState;
        if (state.depth > 1) {
            --state.depth;
        } else if (state.hasLastSteps || state.failed) {
            endOutermost();
        } else {
            state.depth = 0;
        }
    }
    Turn(Turn const&) = delete;
    Turn& operator=(Turn const&) = delete;

    // Runs `step`; what it throws is kept for the end of the outermost turn.
    template <class Callable>
    void run(Callable&& step) noexcept {
        try {
            std::forward<Callable>(step)();
        } catch (...) {
            keep(std::current_exception());
        }
    }

    // For destructors: runs `step` as a turn. What it throws leaves with the turn in progress;
    // outside of any, nobody can be told, and the process ends (failUnthrown).
    template <class Callable>
    static void runInDestructor(Callable&& step) noexcept {
        try {
            Turn turn;
            turn.run(std::forward<Callable>(step));
        } catch (...) {
            failUnthrown(std::current_exception());
        }
    }

    // Has `step` run as the last thing of the turn in progress, when all that was set off is over;
    // at once, as a turn of its own, outside of any. Steps run in the order in which they were
    // left, those that a step leaves after it.
    static void atEnd(Step step);

    // Whether a turn is on this thread's stack.
    static bool inProgress() noexcept;
    // Whether the end of the innermost turn on the stack is to throw.
    static bool endsInFailure() noexcept;
    // Names the turn in progress: a new outermost turn has a new id. 0 outside of turns.
    static std::uint64_t id() noexcept;
    // How many failures this thread has dropped because another one of their turn, or an exception
    // already being unwound, reached the caller instead.
    static std::uint64_t suppressedFailures() noexcept;

private:
    void endOutermost();
    void runLastSteps() noexcept;
    static void keep(std::exception_ptr failure) noexcept;
};

// Who is told the text of each failure that is dropped: one for the process; null is nobody.
using SuppressedFailureHandler = void (*)(std::string_view text) noexcept;
SuppressedFailureHandler suppressedFailureHandlerIs(SuppressedFailureHandler handler) noexcept;

}  // namespace Zin
