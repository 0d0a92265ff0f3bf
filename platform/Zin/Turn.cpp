#include "Zin/Turn.h"

#include <utility>
#include <vector>

namespace Zin {
namespace {

// Read on every notification, so they are plain words that need no initialisation guard.
struct State {
    std::uint64_t started = 0;
    std::uint64_t suppressed = 0;
    std::uint32_t depth = 0;
    bool failed = false;
    bool brokeInvariant = false;  // what is kept is an AssertionError
    bool hasLastSteps = false;
};

constinit thread_local State state;
thread_local std::exception_ptr keptFailure;  // touched only when something has failed
thread_local std::vector<std::function<void()>> lastSteps;  // touched only when there are some

SuppressedFailureHandler suppressedFailureHandler = nullptr;

bool isAssertionError(std::exception_ptr const& failure) noexcept {
    try {
        std::rethrow_exception(failure);
    } catch (AssertionError const&) {
        return true;
    } catch (...) {
        return false;
    }
}

void suppress(std::exception_ptr const& failure) noexcept {
    ++state.suppressed;
    if (suppressedFailureHandler != nullptr) {
        suppressedFailureHandler(textOf(failure));
    }
}

}  // namespace

SuppressedFailureHandler suppressedFailureHandlerIs(SuppressedFailureHandler handler) noexcept {
    return std::exchange(suppressedFailureHandler, handler);
}

Turn::Turn() noexcept {
    if (state.depth++ == 0) {
        ++state.started;
    }
}

Turn::~Turn() noexcept(false) {
    if (state.hasLastSteps && state.depth == 1) {
        runLastSteps();
    }
    if (--state.depth > 0 || !state.failed) {
        return;
    }
    state.failed = false;
    bool const brokeInvariant = state.brokeInvariant;
    std::exception_ptr const failure = std::exchange(keptFailure, nullptr);
    if (std::uncaught_exceptions() > 0) {
        if (brokeInvariant) {
            failUnthrown(failure);
        }
        suppress(failure);
        return;
    }
    std::rethrow_exception(failure);
}

void Turn::atEnd(std::function<void()> step) {
    Turn const turn;
    lastSteps.push_back(std::move(step));
    state.hasLastSteps = true;
}

void Turn::runLastSteps() noexcept {
    while (!lastSteps.empty()) {
        for (auto const& step : std::exchange(lastSteps, {})) {
            run(step);
        }
    }
    state.hasLastSteps = false;
}

bool Turn::inProgress() noexcept { return state.depth > 0; }

bool Turn::endsInFailure() noexcept { return state.depth == 1 && state.failed; }

std::uint64_t Turn::id() noexcept { return state.depth > 0 ? state.started : 0; }

std::uint64_t Turn::suppressedFailures() noexcept { return state.suppressed; }

void Turn::keep(std::exception_ptr failure) noexcept {
    bool const breaksInvariant = isAssertionError(failure);
    if (state.failed && (state.brokeInvariant || !breaksInvariant)) {
        suppress(failure);
        return;
    }
    bool const goesBefore = std::exchange(state.failed, true);
    state.brokeInvariant = breaksInvariant;
    std::swap(keptFailure, failure);
    if (goesBefore) {
        suppress(failure);
    }
}

}  // namespace Zin
