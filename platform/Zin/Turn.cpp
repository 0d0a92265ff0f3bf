#include "Zin/Turn.h"

#include <utility>
#include <vector>

namespace Zin {
namespace {

using Detail::turnState;

thread_local std::exception_ptr keptFailure;  // touched only when something has failed
// Touched only when there are some.
thread_local std::vector<Step> lastSteps;

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
    ++turnState.suppressed;
    if (suppressedFailureHandler != nullptr) {
        suppressedFailureHandler(textOf(failure));
    }
}

}  // namespace

SuppressedFailureHandler suppressedFailureHandlerIs(SuppressedFailureHandler handler) noexcept {
    return std::exchange(suppressedFailureHandler, handler);
}

void Turn::endOutermost() {
    if (turnState.hasLastSteps) {
        runLastSteps();
    }
    --turnState.depth;
    if (!turnState.failed) {
        return;
    }
    turnState.failed = false;
    bool const brokeInvariant = turnState.brokeInvariant;
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

void Turn::atEnd(Step step) {
    Turn const turn;
    lastSteps.push_back(std::move(step));
    turnState.hasLastSteps = true;
}

void Turn::runLastSteps() noexcept {
    while (!lastSteps.empty()) {
        for (Step& step : std::exchange(lastSteps, {})) {
            run(step);
        }
    }
    turnState.hasLastSteps = false;
}

bool Turn::inProgress() noexcept { return turnState.depth > 0; }

bool Turn::endsInFailure() noexcept { return turnState.depth == 1 && turnState.failed; }

std::uint64_t Turn::id() noexcept { return turnState.depth > 0 ? turnState.started : 0; }

std::uint64_t Turn::suppressedFailures() noexcept { return turnState.suppressed; }

void Turn::keep(std::exception_ptr failure) noexcept {
    bool const breaksInvariant = isAssertionError(failure);
    if (turnState.failed && (turnState.brokeInvariant || !breaksInvariant)) {
        suppress(failure);
        return;
    }
    bool const goesBefore = std::exchange(turnState.failed, true);
    turnState.brokeInvariant = breaksInvariant;
    std::swap(keptFailure, failure);
    if (goesBefore) {
        suppress(failure);
    }
}

}  // namespace Zin
