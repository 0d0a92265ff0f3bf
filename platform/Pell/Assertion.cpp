#include "Pell/Assertion.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace Pell {
namespace {

AssertionHandler theHandler = nullptr;

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

std::string toText(AssertionFailure const& failure) {
    return fmt::format("{}::{}: assertion '{}' failed: {}", failure.className, failure.function,
                       failure.condition, failure.message);
}

AssertionHandler assertionHandlerIs(AssertionHandler handler) noexcept {
    return std::exchange(theHandler, handler);
}

AssertionError::AssertionError(AssertionFailure const& failure)
    : std::logic_error(toText(failure)),
      className_(failure.className),
      condition_(failure.condition),
      function_(failure.function),
      message_(failure.message) {}

ThrowOnAssertion::ThrowOnAssertion() noexcept : previous_(assertionHandlerIs(throwError)) {}

ThrowOnAssertion::~ThrowOnAssertion() { assertionHandlerIs(previous_); }

void Detail::failAssertion(TraceHandle const& handle, std::string_view condition,
                           std::string_view function, fmt::string_view format,
                           fmt::format_args args) {
    std::string const message = formatted(format, args);
    AssertionFailure const failure{handle.className(), condition, function, message};
    if (theHandler != nullptr) {
        theHandler(failure);
    } else {
        std::string const text = toText(failure) + '\n';
        std::fputs(text.c_str(), stderr);
    }
    std::abort();
}

}  // namespace Pell
