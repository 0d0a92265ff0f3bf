// Writes one record to the process's trace ring:
//
//     Tremlog::record<"removing deferred ip {} on {}">(addr, intfId);
//
// The format is checked against the arguments' types when compiled, and kept in a static
// descriptor; the record holds a pointer to it and the arguments' raw bytes. An argument is stored
//
//   - as its raw(), where it has one: a trivially copyable snapshot of a type that is not;
//   - as its first 31 bytes, where it is a text, or a value that owns one and gives it as text();
//   - as it is otherwise; it must be trivially copyable then.
//
// What is stored must have an fmt formatter, and all of it must fit a slot of the ring.
#pragma once

#include <fmt/format.h>

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Tremlog/Ring.h"
#include "Tremlog/Text.h"
#include "Zin/FixedString.h"

namespace Tremlog {
namespace Detail {

template <class Argument>
auto stored(Argument const& argument) noexcept {
    if constexpr (requires { argument.raw(); }) {
        return argument.raw();
    } else if constexpr (std::convertible_to<Argument const&, std::string_view>) {
        return Text(argument);
    } else if constexpr (!std::is_trivially_copyable_v<Argument> && requires { argument.text(); }) {
        return Text(argument.text());
    } else {
        return argument;
    }
}

template <class Argument>
using Stored = decltype(stored(std::declval<Argument const&>()));

template <class Value>
void put(std::byte*& to, Value const& value) noexcept {
    std::memcpy(to, &value, sizeof value);
    to += sizeof value;
}

template <class Value>
Value take(std::byte const*& from) {
    std::array<std::byte, sizeof(Value)> bytes;
    std::memcpy(bytes.data(), from, bytes.size());
    from += bytes.size();
    return std::bit_cast<Value>(bytes);
}

template <class... Values>
std::string message(fmt::string_view format, [[maybe_unused]] std::byte const* arguments) {
    // Braces, since they are evaluated from left to right.
    std::tuple<Values...> const values{take<Values>(arguments)...};
    return std::apply(
        [format](Values const&... value) {
            return fmt::vformat(format, fmt::make_format_args(value...));
        },
        values);
}

template <Zin::FixedString format, class... Values>
consteval Descriptor describe() {
    [[maybe_unused]] fmt::format_string<Values...> const checked{format.view()};
    return {format.view(), message<Values...>};
}

template <Zin::FixedString format, class... Values>
constexpr Descriptor descriptor = describe<format, Values...>();

}  // namespace Detail

template <Zin::FixedString format, class... Arguments>
void record(Arguments const&... arguments) noexcept {
    static_assert((std::is_trivially_copyable_v<Detail::Stored<Arguments>> && ...),
                  "an argument is not trivially copyable, and has neither raw() nor text()");
    static_assert((sizeof(Detail::Stored<Arguments>) + ... + 0) <= Ring::argumentSize,
                  "the arguments do not fit a slot of the ring");
    ring.write(
        Detail::descriptor<format, Detail::Stored<Arguments>...>,
        [&]([[maybe_unused]] std::byte* to) { (Detail::put(to, Detail::stored(arguments)), ...); });
}

}  // namespace Tremlog
