// Failed invariants: mistakes of ours, after which the process must not go on as if nothing were
// wrong. Mistakes of the world are errors (Zin/Errors.h).
//
//   in     fmassert: the condition that does not hold, and a message that says why it should
//   out    the handler in place; without one, a line on stderr and the end of the process
//
// fmassert never returns to its caller. A handler may throw instead of ending the process, as
// ThrowOnAssertion does for embedders that contain the damage and for tests; where a handler
// returns, the process aborts.
#pragma once

#include <fmt/core.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "Pell/TraceHandle.h"

namespace Pell {

// The texts are borrowed for the time of the handler's call.
struct AssertionFailure {
    std::string_view className;
    std::string_view condition;
    std::string_view function;
    std::string_view message;
};

// "class::function: assertion 'condition' failed: message"
std::string toText(AssertionFailure const& failure);

// Null is the default: print on stderr and abort.
using AssertionHandler = void (*)(AssertionFailure const& failure);

// Puts `handler` in the place of the present one, which is returned.
AssertionHandler assertionHandlerIs(AssertionHandler handler) noexcept;

class AssertionError : public std::logic_error {
public:
    explicit AssertionError(AssertionFailure const& failure);
    std::string const& className() const { return className_; }
    std::string const& condition() const { return condition_; }
    std::string const& function() const { return function_; }
    std::string const& message() const { return message_; }

private:
    std::string className_;
    std::string condition_;
    std::string function_;
    std::string message_;
};

// While it lives, a failed assertion throws AssertionError. Lifetimes nest.
class ThrowOnAssertion {
public:
    ThrowOnAssertion() noexcept;
    ~ThrowOnAssertion();
    ThrowOnAssertion(ThrowOnAssertion const&) = delete;
    ThrowOnAssertion& operator=(ThrowOnAssertion const&) = delete;

private:
    AssertionHandler const previous_;
};

namespace Detail {
[[noreturn]] void failAssertion(TraceHandle const& handle, std::string_view condition,
                                std::string_view function, fmt::string_view format,
                                fmt::format_args args);
}

template <class... Args>
[[noreturn]] void fmassert(TraceHandle const& handle, std::string_view condition,
                           std::string_view function, fmt::format_string<Args...> format,
                           Args&&... args) {
    Detail::failAssertion(handle, condition, function, format, fmt::make_format_args(args...));
}

}  // namespace Pell
