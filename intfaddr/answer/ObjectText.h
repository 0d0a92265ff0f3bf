// A JSON object that is written straight into a text, member by member: the very bytes that
// toLine() makes of an object with these members, but for the value that it would need.
//
//     ObjectText(out).text("vrf", vrf.text()).number("rows", 7).end();
//
// The members' names are ours, and hold nothing that JSON escapes. Borrows the text, which has all
// that was written after open() and end().
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Zin/Format.h"
#include "intfaddr/answer/Document.h"

namespace IntfAddr {

class ObjectText {
public:
    explicit ObjectText(std::string& out) : out_(out) {}
    ObjectText(ObjectText const&) = delete;
    ObjectText& operator=(ObjectText const&) = delete;

    ObjectText& text(std::string_view name, std::string_view value) {
        return isPlain(value) ? word(name, value) : json(name, value);
    }
    // A text that has nothing that JSON escapes: an address, the name of a state.
    ObjectText& word(std::string_view name, std::string_view value) {
        begin(name);
        pieces_.push_back('"');
        append(value);
        pieces_.push_back('"');
        return *this;
    }
    ObjectText& number(std::string_view name, std::uint64_t value) {
        begin(name);
        fmt::format_int const digits(value);
        append({digits.data(), digits.size()});
        return *this;
    }
    ObjectText& flag(std::string_view name, bool value) {
        begin(name);
        append(value ? "true" : "false");
        return *this;
    }
    ObjectText& null(std::string_view name) {
        begin(name);
        append("null");
        return *this;
    }
    // Of any kind.
    ObjectText& json(std::string_view name, Json const& value);

    // What comes behind is the value, which somebody else writes.
    std::string& open(std::string_view name);
    void end();

private:
    // Whether it is ASCII, and JSON writes it as it is.
    static bool isPlain(std::string_view text);

    void begin(std::string_view name) {
        pieces_.push_back(before_);
        pieces_.push_back('"');
        append(name);
        append("\":");
        before_ = ',';
    }
    void append(std::string_view text) { pieces_.append(text.data(), text.data() + text.size()); }
    void flush();

    std::string& out_;
    // Nearly all objects fit, and go into the text at once.
    fmt::memory_buffer pieces_;
    char before_ = '{';  // the next member
};

}  // namespace IntfAddr
