// The framework's texts: values over bytes, any bytes, that compare in the order of their bytes.
//
// A type of its own over a text derives from StringValue and names its limit, in bytes, if it has
// one; a longer text throws RangeError. String and BoundedString are the plain ones.
#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Zin {

// `limitText` is how the error names the limit.
void checkStringBytes(std::size_t bytes, std::uint32_t maxLength, std::string_view limitText);

// The base of a type `Value`, which holds at most `MaxBytes` bytes.
template <class Value, std::uint32_t MaxBytes = std::numeric_limits<std::uint32_t>::max()>
class StringValue : public TextValue<Value> {
public:
    // In bytes.
    static constexpr std::uint32_t maxLength() { return MaxBytes; }

    StringValue() = default;

    std::string const& bytes() const { return bytes_; }
    // Valid as long as the value is there and the same.
    std::string_view text() const { return bytes_; }
    bool empty() const { return bytes_.empty(); }
    std::uint32_t hash(std::uint32_t seed = 0) const { return hashBytes(seed, bytes_); }

    friend bool operator==(Value const& a, Value const& b) { return a.bytes() == b.bytes(); }
    friend std::strong_ordering operator<=>(Value const& a, Value const& b) {
        return a.bytes() <=> b.bytes();
    }

protected:
    explicit StringValue(std::string_view bytes, std::string_view limitText = "maxLength()") {
        checkStringBytes(bytes.size(), MaxBytes, limitText);
        bytes_ = bytes;
    }

private:
    std::string bytes_;
};

class String : public StringValue<String> {
public:
    String() = default;
    String(std::string_view bytes) : StringValue(bytes) {}
    String(std::string const& bytes) : StringValue(bytes) {}
    String(char const* bytes) : StringValue(bytes) {}
};

// Throws RangeError where it would be longer.
template <std::uint32_t MaxBytes>
class BoundedString : public StringValue<BoundedString<MaxBytes>, MaxBytes> {
public:
    BoundedString() = default;
    explicit BoundedString(std::string_view bytes)
        : StringValue<BoundedString<MaxBytes>, MaxBytes>(bytes) {}
};

}  // namespace Zin
