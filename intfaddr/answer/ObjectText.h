// A JSON object that is written straight into a text, member by member: the very bytes that
// toLine() makes of an object with these members, but for the value that it would need.
//
//     ObjectText(out).text("vrf", "default").number("rows", 7).end();
//
// The members' names are ours, and hold nothing that JSON escapes. Borrows the text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {

class ObjectText {
public:
    explicit ObjectText(std::string& out) : out_(out) {}
    ObjectText(ObjectText const&) = delete;
    ObjectText& operator=(ObjectText const&) = delete;

    ObjectText& text(std::string_view name, std::string_view value);
    ObjectText& number(std::string_view name, std::uint64_t value);
    ObjectText& flag(std::string_view name, bool value);
    ObjectText& null(std::string_view name);
    // Of any kind.
    ObjectText& json(std::string_view name, Json const& value);
    // What comes behind is the value; somebody else writes it.
    std::string& open(std::string_view name);

    void end();

private:
    std::string& out_;
    char before_ = '{';  // the next member
};

}  // namespace IntfAddr
