// The property of RoundTrip.h for values of which one form alone, that of `print`, is read.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "RoundTrip.h"

namespace Fuzz {

template <class T, class Print>
void checkForm(T const& value, Print const& print) {
    std::string const printed = print(value);
    T const read = Zin::strepToValue<T>(printed);
    require(print(read) == printed);
    require(read == value || !(value == value));
}

// Tries `text` as it is, as the end of a well-formed text, and as what stands between the two ends
// of one, so that the fuzzer need not find the fixed words of the form.
template <class T, class Print>
void checkTexts(std::string_view text, std::string_view opening, std::string_view closing,
                Print const& print) {
    std::string const ending = std::string(opening).append(text);
    std::string const whole = std::string(ending).append(closing);
    for (std::string_view const tried : {text, std::string_view(ending), std::string_view(whole)}) {
        std::optional<T> value;
        try {
            value = Zin::strepToValue<T>(tried);
        } catch (Zin::ParseError const& error) {
            require(error.offset() <= tried.size());
        } catch (Zin::RangeError const&) {
        }
        if (value) {
            checkForm(*value, print);
        }
    }
}

}  // namespace Fuzz
