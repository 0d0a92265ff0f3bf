#include "intfaddr/answer/ObjectText.h"

#include <algorithm>

namespace IntfAddr {

ObjectText& ObjectText::json(std::string_view name, Json const& value) {
    begin(name);
    append(toLine(value));
    return *this;
}

std::string& ObjectText::open(std::string_view name) {
    begin(name);
    flush();
    return out_;
}

void ObjectText::end() {
    append(before_ == '{' ? "{}" : "}");
    flush();
}

bool ObjectText::isPlain(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
}

void ObjectText::flush() {
    out_.append(pieces_.data(), pieces_.size());
    pieces_.clear();
}

}  // namespace IntfAddr
