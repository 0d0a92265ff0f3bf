// What an argument of a record is, by a name and a size that outlive the process: whoever reads a
// ring of another process finds by them how its bytes are made into text.
//
// Integers are "int" and "uint", of their size; other numbers "float"; "bool", "char" and "text"
// what they are called; a type that has a member `kind` is called that; every other one by its
// qualified name. Each kind that a program can record is listed before main(), so a program reads
// what it writes itself. Whoever gives a type another layout gives it another size, or Image.h
// another version.
//
// The bytes may be damaged: a formatter looks at nothing beyond them, whatever they are.
#pragma once

#include <fmt/args.h>

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace Tremlog {

using Arguments = fmt::dynamic_format_arg_store<fmt::format_context>;

struct Kind {
    static constexpr std::size_t maxNameSize = 48;  // in bytes

    std::string_view name;  // borrowed for good
    std::uint16_t size;     // of a value, in bytes
    // Copies the value at `bytes`, which need not be aligned, to the arguments.
    void (*push)(Arguments& arguments, std::byte const* bytes);
    Kind const* next = nullptr;  // of those listed
};

// Null where this program has none.
Kind const* kindOf(std::string_view name, std::size_t size) noexcept;

namespace Detail {

struct Listing {
    explicit Listing(Kind& kind) noexcept;
};

template <class Value>
consteval std::string_view typeName() {
    std::string_view name = __PRETTY_FUNCTION__;
    constexpr std::string_view before = "Value = ";
    name.remove_prefix(name.find(before) + before.size());
    return name.substr(0, name.find_first_of(";]"));
}

template <class Value>
consteval std::string_view kindName() {
    if constexpr (requires { Value::kind; }) {
        return Value::kind;
    } else if constexpr (std::same_as<Value, bool>) {
        return "bool";
    } else if constexpr (std::same_as<Value, char>) {
        return "char";
    } else if constexpr (std::integral<Value>) {
        return std::signed_integral<Value> ? "int" : "uint";
    } else if constexpr (std::floating_point<Value>) {
        return "float";
    } else {
        return typeName<Value>();
    }
}

template <class Value>
void push(Arguments& arguments, std::byte const* bytes) {
    if constexpr (std::same_as<Value, bool>) {
        arguments.push_back(*bytes != std::byte(0));  // any other than 0 and 1 would be no bool
    } else {
        std::array<std::byte, sizeof(Value)> copy;
        std::memcpy(copy.data(), bytes, copy.size());
        arguments.push_back(std::bit_cast<Value>(copy));
    }
}

template <class Value>
constinit inline Kind kind{kindName<Value>(), sizeof(Value), push<Value>};

template <class Value>
inline Listing const listing{kind<Value>};

}  // namespace Detail
}  // namespace Tremlog
