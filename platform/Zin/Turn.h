// One turn: everything that one outermost call into the framework sets off.
//
// A mutator notifies, a handler answers by mutating something else, the last pointer of a machine
// goes away and its teardown mutates more: all of that runs on one stack, inside the one call that
// started it. A Turn is that call's bracket. Three things hold inside it:
//
//   - Handlers run to their end. What one handler throws is kept, the others still run, and each
//     mutator finishes what it writes, so no observer misses an event and nothing is half written
//     because a neighbour failed.
//   - The first failure is thrown when the outermost turn ends, to whoever made that call; later
//     failures of the same turn are counted (suppressedFailures) and dropped. A turn that ends
//     while an exception is already on its way to that caller throws nothing.
//   - Framework time stands still: a clock reads the world once a turn (see id()).
//
// Turns nest freely; only the outermost one throws. A Turn lives on the stack, of one thread.
#pragma once

#include <cstdint>
#include <exception>
#include <utility>

namespace Zin {

class Turn {
public:
    Turn() noexcept;
    // Throws the turn's first failure if this was the outermost turn and nothing is being unwound.
    ~Turn() noexcept(false);
    Turn(Turn const&) = delete;
    Turn& operator=(Turn const&) = delete;

    // Runs `step`; what it throws is kept for the end of the outermost turn.
    template <class Step>
    void run(Step&& step) noexcept {
        if (givesWay_) [[unlikely]] {
            stopWaiting();
        }
        try {
            std::forward<Step>(step)();
        } catch (...) {
            keep(std::current_exception());
        }
    }

    // Whether a turn is on this thread's stack.
    static bool inProgress() noexcept;
    // Names the turn in progress: a new outermost turn has a new id. 0 outside of turns.
    static std::uint64_t id() noexcept;
    // How many failures this thread has dropped because an earlier one of their turn, or an
    // exception already being unwound, reached the caller instead.
    static std::uint64_t suppressedFailures() noexcept;

private:
    static void keep(std::exception_ptr failure) noexcept;
    static void stopWaiting() noexcept;

    // The kept failure came up while an exception was on its way to a turn's run(). That one was
    // first, and takes its place when it arrives.
    static constinit thread_local bool givesWay_;
};

}  // namespace Zin
