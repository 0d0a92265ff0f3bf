// Failed invariants: mistakes of ours, after which the process must not go on as if nothing were
// wrong. Mistakes of the world are errors (Zin/Errors.h).
//
//   in     fail: what does not hold, and where
//   out    the handler in place; without one, a line on stderr and the end of the process
//
// fail never returns to its caller. A handler may throw AssertionError instead of ending the
// process; where a handler returns, the process aborts. What is thrown goes before any other
// failure of its turn (Zin/Turn.h).
//
// Whoever contains failures has to know whose they are: a FaultDomain names whose work is being
// done.
//
// Classes assert through Pell (Pell/Assertion.h), which formats the message.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace Zin {

// The texts are borrowed for the time of the handler's call.
struct AssertionFailure {
    // Whose condition does not hold, its text in the source, the function that it stands in, and
    // why it should hold.
    std::string_view className;
    std::string_view condition;
    std::string_view function;
    std::string_view message;
    // Of the innermost domain; empty outside of any.
    std::string_view domain{};
};

// While it lives, what fails on its thread is told to be of the domain of that name, unless there
// is one within. It lives on the stack; the name is borrowed.
class [[gnu::visibility("default")]] FaultDomain {
public:
    explicit FaultDomain(std::string_view name) noexcept
        : outer_(std::exchange(innermost_, name)) {}
    ~FaultDomain() { innermost_ = outer_; }
    FaultDomain(FaultDomain const&) = delete;
    FaultDomain& operator=(FaultDomain const&) = delete;

    // Its name, on this thread; empty outside of any.
    static std::string_view innermost() noexcept { return innermost_; }

private:
    static inline constinit thread_local std::string_view innermost_{};

    std::string_view const outer_;
};

// "class::function: assertion 'condition' failed: message"
std::string toText(AssertionFailure const& failure);

// Null is the default: print on stderr and abort.
using AssertionHandler = void (*)(AssertionFailure const& failure);

// Puts `handler` in the place of the present one, which is returned.
AssertionHandler assertionHandlerIs(AssertionHandler handler) noexcept;

// For handlers that throw. Has texts of its own; what() is toText's.
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

// Of the innermost domain.
[[noreturn]] void fail(AssertionFailure failure);

// For a failure of which nobody is left to be told, such as that of a teardown outside of any turn:
// tells the handler, and ends the process also where the handler throws.
[[noreturn]] void failUnthrown(std::exception_ptr const& failure) noexcept;

// What the exception says of itself.
std::string textOf(std::exception_ptr const& failure);

}  // namespace Zin
