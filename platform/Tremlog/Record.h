// Writes one record to the process's trace ring:
//
//     Tremlog::record<"removing deferred ip {} on {}">(addr, intfId);
//
// The format is checked against the arguments' types when compiled, and kept in a static
// descriptor, which the first record enters into the ring's catalogue; the record holds its number
// there and the arguments' raw bytes. An argument is stored
//
//   - as its raw(), where it has one: a trivially copyable snapshot of a type that is not;
//   - as its first 31 bytes, where it is a text, or a value that owns one and gives it as text();
//   - as it is otherwise; it must be trivially copyable then.
//
// What is stored must have an fmt formatter, which must do no harm whatever the bytes are (Kind.h),
// and all of it must fit a slot of the ring. A format has no width or precision of more than three
// digits, or that is an argument.
#pragma once

#include <fmt/format.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tremlog/Kind.h"
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

template <class... Values>
constexpr std::array<Kind const*, sizeof...(Values)> kinds{&kind<Values>...};

template <Zin::FixedString format, class... Values>
consteval Descriptor describe() {
    static_assert(format.view().size() <= Format::maxSize, "the format is too long");
    static_assert(isPlainFormat(format.view()), "the format may give a text of any length");
    static_assert(sizeof...(Values) <= Format::maxArguments, "there are too many arguments");
    static_assert(((kindName<Values>().size() <= Kind::maxNameSize) && ...),
                  "the name of an argument's type is too long");
    [[maybe_unused]] fmt::format_string<Values...> const checked{format.view()};
    return {.format = format.view(), .kinds = kinds<Values...>};
}

template <Zin::FixedString format, class... Values>
constinit inline Descriptor descriptor = describe<format, Values...>();

}  // namespace Detail

// See above. The record is lost, and counted as such, where the ring is in use already or has no
// room for the format.
template <Zin::FixedString format, class... Arguments>
void record(Arguments const&... arguments) noexcept {
    static_assert((std::is_trivially_copyable_v<Detail::Stored<Arguments>> && ...),
                  "an argument is not trivially copyable, and has neither raw() nor text()");
    static_assert((sizeof(Detail::Stored<Arguments>) + ... + 0) <= Slot::argumentSize,
                  "the arguments do not fit a slot of the ring");
    (static_cast<void>(&Detail::listing<Detail::Stored<Arguments>>), ...);
    ring.write(
        Detail::descriptor<format, Detail::Stored<Arguments>...>,
        [&]([[maybe_unused]] std::byte* to) { (Detail::put(to, Detail::stored(arguments)), ...); });
}

}  // namespace Tremlog
