// Failed invariants: mistakes of ours, after which the process must not go on as if nothing were
// wrong. Mistakes of the world are errors (Zin/Errors.h).
//
//   in     fmassert: the condition that does not hold, and a message that says why it should
//   out    the handler in place; without one, a line on stderr and the end of the process
//
// fmassert never returns to its caller. A handler may throw AssertionError instead of ending the
// process, as ThrowOnAssertion does for embedders that contain the damage and for tests; where a
// handler returns, the process aborts.
#pragma once

#include <fmt/core.h>

#include <string_view>

#include "Pell/TraceHandle.h"
#include "Zin/Fail.h"

namespace Pell {

// The handler and the error are the framework's, whose own assertions go the same way.
using Zin::AssertionError;
using Zin::AssertionFailure;
using Zin::AssertionHandler;
using Zin::assertionHandlerIs;
using Zin::toText;

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

// What does not hold, and where; the format says why it should.
template <class... Args>
[[noreturn]] void fmassert(TraceHandle const& handle, std::string_view condition,
                           std::string_view function, fmt::format_string<Args...> format,
                           Args&&... args) {
    Detail::failAssertion(handle, condition, function, format, fmt::make_format_args(args...));
}

}  // namespace Pell
