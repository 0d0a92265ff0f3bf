// Values and pointers print themselves with fmt.
//
//     fmt::print("{} is on {}\n", row.key.key.addr, row.value->intfId());
//
// Headers of values leave this out, and fmt with it: whoever prints includes it.
#pragma once

#include <fmt/format.h>

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

#include "Zin/Ptr.h"

namespace Zin {

// A value with a short form (see Zin/Text.h).
template <class T>
concept Printable = requires(T const& value) {
    { value.toStrep() } -> std::convertible_to<std::string_view>;
};

// An enumeration whose short form a function gives, found by argument-dependent look-up.
template <class T>
concept PrintableEnumeration = std::is_enum_v<T> && requires(T value) {
    { toStrep(value) } -> std::convertible_to<std::string_view>;
};

}  // namespace Zin

template <Zin::Printable T>
struct fmt::formatter<T> : fmt::formatter<std::string_view> {
    template <class Context>
    auto format(T const& value, Context& context) const {
        if constexpr (requires { value.text(); }) {
            auto const text = value.text();
            return fmt::formatter<std::string_view>::format(std::string_view(text), context);
        } else {
            return fmt::formatter<std::string_view>::format(value.toStrep(), context);
        }
    }
};

template <Zin::PrintableEnumeration T>
struct fmt::formatter<T> : fmt::formatter<std::string_view> {
    template <class Context>
    auto format(T value, Context& context) const {
        return fmt::formatter<std::string_view>::format(toStrep(value), context);
    }
};

// How an entity is displayed: by its serial number, the same in every run of the same input.
template <class T>
struct fmt::formatter<Zin::Ptr<T>> {
    constexpr auto parse(format_parse_context& context) { return context.begin(); }
    template <class Context>
    auto format(Zin::Ptr<T> const& ptr, Context& context) const {
        return ptr ? fmt::format_to(context.out(), "entity#{}", ptr->serial())
                   : fmt::format_to(context.out(), "null");
    }
};
