// The text forms of values.
//
//   short        value.toStrep(), read back by strepToValue<T>(text): "10.0.0.1",
//                "intfId=Ethernet1;addrWithMask=10.0.0.1/24"
//   reflective   valueToStrep(value), read back by TextReader::read<T>: '10.0.0.1',
//                Value('IpLib::IntfAddrWithMaskKey', ** {'intfId': 'Ethernet1', ...})
//
// Both are exact: no blanks, no locale, nothing behind the value, numbers and escapes as they are
// printed. Only IPv6 addresses are read in every form that RFC 4291 has, and printed in the one of
// RFC 5952. A text that is not the form asked for throws ParseError.
//
// What a type brings with it, each found by argument-dependent look-up:
//
//   std::string valueToStrep(T const&)
//   T fromStrep(std::type_identity<T>, std::string_view)     unless its constructor reads the short
//                                                            form
//   T readValue(std::type_identity<T>, TextReader&)          where it is read in reflective form
//
// A value whose short form is one word (an address, a name) gets all of them from TextValue.
// Everything with a toStrep() prints itself with fmt where Zin/Format.h is included.
#pragma once

#include <charconv>
#include <compare>
#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "Zin/Errors.h"

namespace Zin {

template <class T>
concept Number = (std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>) ||
                 std::same_as<T, double>;

// Reads one text from front to back; never beyond its end. Borrows the text.
class TextReader {
public:
    explicit TextReader(std::string_view text) : text_(text) {}

    std::size_t offset() const { return offset_; }
    // What has not been read yet.
    std::string_view rest() const { return text_.substr(offset_); }

    // The very characters of `text`.
    void literal(std::string_view text);
    // Like literal, for one of several: whether `text` was next and has been read.
    bool skip(std::string_view text);
    // A value in its reflective form. A failure names `attribute`, or the attribute inside the
    // value that failed.
    template <class T>
    T read(std::string_view attribute);
    // A field of a short form: "attribute=VALUE", behind a ";" unless it is the first. VALUE runs
    // to the last occurrence of ";nextAttribute=" (which stays unread), so that a name in it may
    // hold any character, or to the end of the text where there is no next attribute.
    template <class T>
    T field(std::string_view attribute, std::string_view nextAttribute = {});
    // Nothing is left.
    void end() const;

    // Building blocks of a type's own readValue.
    template <Number T>
    T number();
    // A quoted text, without its quotes and escapes.
    std::string quoted();
    // A quoted text that is a value's short form.
    template <class T>
    T quotedValue();
    [[noreturn]] void fail(std::string_view expected) const;

private:
    std::string_view fieldText(std::string_view attribute, std::string_view nextAttribute);

    std::string_view text_;
    std::size_t offset_ = 0;
};

// The reflective form of a text: in single quotes; quotes and backslashes are escaped with a
// backslash, control bytes as \xHH.
std::string quote(std::string_view text);

inline std::string valueToStrep(std::string_view text) { return quote(text); }
inline std::string valueToStrep(std::string const& text) { return quote(text); }
inline std::string valueToStrep(char const* text) { return quote(text); }
template <std::same_as<bool> T>
std::string valueToStrep(T value) {
    return value ? "true" : "false";
}
std::string valueToStrep(double value);
template <std::signed_integral T>
requires Number<T> std::string valueToStrep(T value) { return std::to_string(value); }
template <std::unsigned_integral T>
requires Number<T> std::string valueToStrep(T value) { return std::to_string(value); }

bool readValue(std::type_identity<bool>, TextReader& reader);
std::string readValue(std::type_identity<std::string>, TextReader& reader);
template <Number T>
T readValue(std::type_identity<T>, TextReader& reader) {
    return reader.number<T>();
}

template <class T>
requires std::same_as<T, bool> || Number<T> T fromStrep(std::type_identity<T> type,
                                                        std::string_view text) {
    TextReader reader(text);
    T const value = readValue(type, reader);
    reader.end();
    return value;
}
template <std::constructible_from<std::string_view> T>
T fromStrep(std::type_identity<T>, std::string_view text) {
    return T(text);
}

// The value whose short form `text` is.
template <class T>
T strepToValue(std::string_view text) {
    return fromStrep(std::type_identity<T>{}, text);
}

// Writes the text to the stream.
std::ostream& write(std::ostream& out, std::string_view text);

// Base of the values whose short form is one word. `Value` has text(), which returns that word as
// something convertible to std::string_view, and a constructor that reads it.
template <class Value>
struct TextValue {
    std::string toStrep() const {
        auto const text = static_cast<Value const&>(*this).text();
        return std::string(std::string_view(text));
    }

    friend std::string valueToStrep(Value const& value) { return quote(value.text()); }
    friend Value readValue(std::type_identity<Value>, TextReader& reader) {
        return reader.quotedValue<Value>();
    }
    friend std::ostream& operator<<(std::ostream& out, Value const& value) {
        return write(out, value.text());
    }

    // So that the values can have theirs defaulted.
    friend constexpr bool operator==(TextValue const&, TextValue const&) { return true; }
    friend constexpr std::strong_ordering operator<=>(TextValue const&, TextValue const&) {
        return std::strong_ordering::equal;
    }
};

namespace TextImpl {

// Runs `parse` on a piece of a text that starts at `base`; a failure is thrown on as one of the
// whole text, naming `attribute` unless it names one already.
template <class Parse>
auto within(std::string_view attribute, std::size_t base, Parse&& parse) {
    try {
        return std::forward<Parse>(parse)();
    } catch (ParseError const& error) {
        throw ParseError(error.attribute().empty() ? attribute : error.attribute(),
                         base + error.offset(), error.expected());
    }
}

}  // namespace TextImpl

template <class T>
T TextReader::read(std::string_view attribute) {
    return TextImpl::within(attribute, 0,
                            [this] { return readValue(std::type_identity<T>{}, *this); });
}

template <class T>
T TextReader::field(std::string_view attribute, std::string_view nextAttribute) {
    std::string_view const text = fieldText(attribute, nextAttribute);
    return TextImpl::within(attribute, offset_ - text.size(),
                            [text] { return strepToValue<T>(text); });
}

template <Number T>
T TextReader::number() {
    T value{};
    auto const [stop, error] = std::from_chars(rest().data(), rest().data() + rest().size(), value);
    if (error == std::errc::result_out_of_range) {
        fail("a number in range");
    }
    if (error != std::errc{}) {
        fail("a number");
    }
    std::string const printed = valueToStrep(value);
    if (printed != std::string_view(rest().data(), stop)) {
        fail("the number as it is printed, " + printed + ",");
    }
    offset_ += static_cast<std::size_t>(stop - rest().data());
    return value;
}

template <class T>
T TextReader::quotedValue() {
    std::size_t const base = offset_ + 1;
    std::string const text = quoted();
    return TextImpl::within({}, base, [&text] { return strepToValue<T>(text); });
}

}  // namespace Zin
