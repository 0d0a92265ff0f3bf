// The property that every fuzz target checks: a text is either refused with a parse or range error,
// or read as a value whose printed forms, short and reflective, read back as that same value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Zin/Errors.h"
#include "Zin/Format.h"
#include "Zin/Text.h"

namespace Fuzz {

inline std::string_view textOf(std::uint8_t const* data, std::size_t size) {
    return {reinterpret_cast<char const*>(data), size};
}

inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

template <class T>
std::string shortForm(T const& value) {
    using Zin::valueToStrep;
    if constexpr (Zin::Printable<T>) {
        return value.toStrep();
    } else if constexpr (requires { toStrep(value); }) {
        return std::string(toStrep(value));
    } else {
        return valueToStrep(value);
    }
}

// Values are compared by their forms as well, for those that do not equal themselves.
template <class T>
bool isSame(T const& a, T const& b) {
    return a == b || (!(a == a) && shortForm(a) == shortForm(b));
}

template <class T>
void checkPrintedForms(T const& value) {
    using Zin::valueToStrep;
    std::string const printed = shortForm(value);
    T const fromShort = Zin::strepToValue<T>(printed);
    require(isSame(fromShort, value));
    require(shortForm(fromShort) == printed);

    std::string const reflective = valueToStrep(value);
    Zin::TextReader reader(reflective);
    T const fromReflective = reader.read<T>("value");
    reader.end();
    require(isSame(fromReflective, value));
    require(valueToStrep(fromReflective) == reflective);
}

// Calls `parse`; where that yields a value, checks its forms. Another exception than a refusal, or
// any exception out of the check, ends the run.
template <class Parse>
void checkParsed(Parse&& parse) {
    std::optional<decltype(parse())> value;
    try {
        value = std::forward<Parse>(parse)();
    } catch (Zin::ParseError const&) {
        return;
    } catch (Zin::RangeError const&) {
        return;
    }
    checkPrintedForms(*value);
}

template <class T>
void checkRoundTrip(std::string_view text) {
    checkParsed([text] { return Zin::strepToValue<T>(text); });
    checkParsed([text] { return Zin::TextReader(text).read<T>("value"); });
}

}  // namespace Fuzz
