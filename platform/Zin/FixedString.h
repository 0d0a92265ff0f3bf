// A string literal as a template argument:
//
//     template <Zin::FixedString className> class Traced { ... className.view() ... };
//     class CarrierSm : Traced<"CarrierSm"> { ... };
#pragma once

#include <cstddef>
#include <string_view>

namespace Zin {

template <std::size_t size>
struct FixedString {
    char text[size];  // public, as a template argument's members must be; ends with '\0'

    // Of the literal's bytes, its last zero included.
    consteval FixedString(char const (&literal)[size]) {
        for (std::size_t at = 0; at < size; ++at) {
            text[at] = literal[at];
        }
    }
    // Without the zero. The object must outlive it.
    constexpr std::string_view view() const { return {text, size - 1}; }
};

}  // namespace Zin
