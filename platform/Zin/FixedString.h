// A string literal as a template argument:
//
//     template <Zin::FixedString className> class Traced { ... className.view() ... };
//     class CarrierSm : Traced<"CarrierSm"> { ... };
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Zin {

template <std::size_t size>
struct FixedString {
    char text[size];  // public, as a template argument's members must be; ends with '\0'

    consteval FixedString(char const (&literal)[size]) { std::copy_n(literal, size, text); }
    constexpr std::string_view view() const { return {text, size - 1}; }
};

}  // namespace Zin
