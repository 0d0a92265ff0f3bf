#include "Zin/Text.h"

#include <fmt/format.h>

#include <cstdint>
#include <ostream>

namespace Zin {

namespace {

bool isControl(char c) {
    auto const byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

std::string hexDigits(char c) { return fmt::format("{:02x}", static_cast<unsigned char>(c)); }

}  // namespace

void TextReader::literal(std::string_view text) {
    if (!skip(text)) {
        fail(text);
    }
}

bool TextReader::skip(std::string_view text) {
    bool const isNext = rest().starts_with(text);
    if (isNext) {
        offset_ += text.size();
    }
    return isNext;
}

void TextReader::end() const {
    if (!rest().empty()) {
        fail("the end of the text");
    }
}

void TextReader::fail(std::string_view expected) const { throw ParseError({}, offset_, expected); }

std::string TextReader::quoted() {
    literal("'");
    std::string text;
    while (!skip("'")) {
        if (rest().empty() || isControl(rest().front())) {
            fail("a closing quote");
        }
        if (skip("\\x")) {
            std::string_view const digits = rest().substr(0, 2);
            std::uint8_t byte = 0;
            auto const [stop, error] =
                std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
            char const escaped = static_cast<char>(byte);
            if (error != std::errc{} || stop != digits.data() + 2 || !isControl(escaped) ||
                hexDigits(escaped) != digits) {
                fail("the two hexadecimal digits of a control byte");
            }
            text += escaped;
            offset_ += 2;
        } else if (skip("\\")) {
            if (!rest().starts_with('\'') && !rest().starts_with('\\')) {
                fail("an escaped character");
            }
            text += text_[offset_++];
        } else {
            text += text_[offset_++];
        }
    }
    return text;
}

std::string_view TextReader::fieldText(std::string_view attribute, std::string_view nextAttribute) {
    literal(fmt::format("{}{}=", offset_ == 0 ? "" : ";", attribute));
    std::string_view text = rest();
    if (!nextAttribute.empty()) {
        std::string const next = fmt::format(";{}=", nextAttribute);
        std::size_t const size = text.rfind(next);
        if (size == std::string_view::npos) {
            fail(fmt::format("a value and \"{}\"", next));
        }
        text = text.substr(0, size);
    }
    offset_ += text.size();
    return text;
}

std::string quote(std::string_view text) {
    std::string quoted = "'";
    for (char const c : text) {
        if (isControl(c)) {
            quoted += "\\x" + hexDigits(c);
        } else {
            if (c == '\'' || c == '\\') {
                quoted += '\\';
            }
            quoted += c;
        }
    }
    quoted += '\'';
    return quoted;
}

std::string valueToStrep(double value) { return fmt::format("{}", value); }

std::ostream& write(std::ostream& out, std::string_view text) { return out << text; }

bool readValue(std::type_identity<bool>, TextReader& reader) {
    if (reader.skip("true")) {
        return true;
    }
    if (reader.skip("false")) {
        return false;
    }
    reader.fail("true or false");
}

std::string readValue(std::type_identity<std::string>, TextReader& reader) {
    return reader.quoted();
}

}  // namespace Zin
