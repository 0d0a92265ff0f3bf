#include "intfaddr/answer/ObjectText.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace IntfAddr {

namespace {

// Whether JSON writes the text as it is, and need not look for characters of several bytes.
bool isPlain(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

}  // namespace

ObjectText& ObjectText::text(std::string_view name, std::string_view value) {
    std::string& out = open(name);
    if (isPlain(value)) {
        ((out += '"') += value) += '"';
    } else {
        out += toLine(value);
    }
    return *this;
}

ObjectText& ObjectText::number(std::string_view name, std::uint64_t value) {
    fmt::format_int const digits(value);
    open(name).append(digits.data(), digits.size());
    return *this;
}

ObjectText& ObjectText::flag(std::string_view name, bool value) {
    open(name) += value ? "true" : "false";
    return *this;
}

ObjectText& ObjectText::null(std::string_view name) {
    open(name) += "null";
    return *this;
}

ObjectText& ObjectText::json(std::string_view name, Json const& value) {
    open(name) += toLine(value);
    return *this;
}

std::string& ObjectText::open(std::string_view name) {
    ((out_ += std::exchange(before_, ',')) += '"') += name;
    return out_ += "\":";
}

void ObjectText::end() { out_ += before_ == '{' ? "{}" : "}"; }

}  // namespace IntfAddr
