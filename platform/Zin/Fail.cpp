#include "Zin/Fail.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace Zin {
namespace {

AssertionHandler theHandler = nullptr;

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

void fail(AssertionFailure failure) {
    failure.domain = FaultDomain::innermost();
    if (theHandler != nullptr) {
        theHandler(failure);
    } else {
        std::string const text = toText(failure) + '\n';
        std::fputs(text.c_str(), stderr);
    }
    std::abort();
}

void failUnthrown(std::exception_ptr const& failure) noexcept {
    std::string const message = textOf(failure);
    fail({.className = "Turn",
          .condition = "can throw",
          .function = "failUnthrown",
          .message = message});
}

std::string textOf(std::exception_ptr const& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (std::exception const& error) {
        return error.what();
    } catch (...) {
        return "an exception of unknown type";
    }
}

}  // namespace Zin
