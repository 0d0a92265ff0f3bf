#include "Pell/Assertion.h"

#include <string>

#include "Zin/Format.h"

namespace Pell {
namespace {

void throwError(AssertionFailure const& failure) { throw AssertionError(failure); }

// A failure that cannot be told in full is still told: by its format.
std::string formatted(fmt::string_view format, fmt::format_args args) {
    try {
        return fmt::vformat(format, args);
    } catch (...) {
        return std::string(format.data(), format.size());
    }
}

}  // namespace

ThrowOnAssertion::ThrowOnAssertion() noexcept : previous_(assertionHandlerIs(throwError)) {}

ThrowOnAssertion::~ThrowOnAssertion() { assertionHandlerIs(previous_); }

void Detail::failAssertion(TraceHandle const& handle, std::string_view condition,
                           std::string_view function, fmt::string_view format,
                           fmt::format_args args) {
    std::string const message = formatted(format, args);
    Zin::fail({handle.className(), condition, function, message});
}

}  // namespace Pell
