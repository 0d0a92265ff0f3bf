#include "Zin/Turn.h"

namespace Zin {
namespace {

// Read on every notification, so they are plain words that need no initialisation guard.
struct State {
    std::uint64_t started = 0;
    std::uint64_t suppressed = 0;
    std::uint32_t depth = 0;
    bool failed = false;
};

constinit thread_local State state;
thread_local std::exception_ptr firstFailure;  // touched only when something has failed

}  // namespace

constinit thread_local bool Turn::givesWay_ = false;

Turn::Turn() noexcept {
    if (state.depth++ == 0) {
        ++state.started;
    }
}

Turn::~Turn() noexcept(false) {
    if (--state.depth > 0 || !state.failed) {
        return;
    }
    state.failed = false;
    std::exception_ptr const failure = std::exchange(firstFailure, nullptr);
    if (std::uncaught_exceptions() > 0) {
        ++state.suppressed;
        return;
    }
    std::rethrow_exception(failure);
}

bool Turn::inProgress() noexcept { return state.depth > 0; }

std::uint64_t Turn::id() noexcept { return state.depth > 0 ? state.started : 0; }

std::uint64_t Turn::suppressedFailures() noexcept { return state.suppressed; }

void Turn::keep(std::exception_ptr failure) noexcept {
    bool const onItsWay = std::uncaught_exceptions() > 0;
    if (state.failed) {
        ++state.suppressed;
        if (onItsWay || !givesWay_) {
            return;
        }
    }
    state.failed = true;
    givesWay_ = onItsWay;
    firstFailure = std::move(failure);
}

// A step that begins while nothing is being unwound shows that the exception has been dealt with.
void Turn::stopWaiting() noexcept { givesWay_ = std::uncaught_exceptions() > 0; }

}  // namespace Zin
