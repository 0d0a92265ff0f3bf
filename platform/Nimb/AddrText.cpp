#include "Nimb/AddrText.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {

namespace {

constexpr std::size_t groupCount = 8;

std::uint32_t groupAt(Ip6Bytes const& address, std::size_t i) {
    return (std::uint32_t{address[2 * i]} << 8) | address[2 * i + 1];
}

struct Run {
    std::size_t first = groupCount;
    std::size_t size = 1;  // a single zero group is not worth a "::"
};

// The first of the longest runs of zero groups.
Run longestZeroRun(Ip6Bytes const& address) {
    Run longest;
    Run run{.first = 0, .size = 0};
    for (std::size_t i = 0; i < groupCount; ++i) {
        if (groupAt(address, i) != 0) {
            run = {.first = i + 1, .size = 0};
        } else if (++run.size > longest.size) {
            longest = run;
        }
    }
    return longest;
}

bool isIp4Mapped(Ip6Bytes const& address) {
    static constexpr std::array<std::uint8_t, 12> prefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    return std::equal(prefix.begin(), prefix.end(), address.begin());
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

}  // namespace

AddrText& AddrText::operator<<(char c) {
    bytes_[size_++] = c;
    return *this;
}

AddrText& AddrText::operator<<(std::string_view text) {
    std::copy(text.begin(), text.end(), bytes_.data() + size_);
    size_ += text.size();
    return *this;
}

AddrText& AddrText::number(std::uint32_t value, int base) {
    auto const result =
        std::to_chars(bytes_.data() + size_, bytes_.data() + bytes_.size(), value, base);
    size_ = static_cast<std::size_t>(result.ptr - bytes_.data());
    return *this;
}

AddrText& AddrText::operator<<(Ip4Bytes const& address) {
    number(address[0]);
    for (std::size_t i = 1; i < address.size(); ++i) {
        *this << '.';
        number(address[i]);
    }
    return *this;
}

AddrText& AddrText::operator<<(Ip6Bytes const& address) {
    if (isIp4Mapped(address)) {
        return *this << "::ffff:" << Ip4Bytes{address[12], address[13], address[14], address[15]};
    }
    Run const gap = longestZeroRun(address);
    for (std::size_t i = 0; i < groupCount;) {
        if (i == gap.first) {
            *this << "::";
            i += gap.size;
            continue;
        }
        if (i > 0 && i != gap.first + gap.size) {
            *this << ':';
        }
        number(groupAt(address, i), 16);
        ++i;
    }
    return *this;
}

Ip4Bytes AddrReader::ip4() {
    Ip4Bytes address{};
    for (std::size_t i = 0; i < address.size(); ++i) {
        if (i > 0 && !skip(".")) {
            fail("\".\"");
        }
        address[i] = decimal(255, "a number from 0 to 255");
    }
    return address;
}

Ip6Bytes AddrReader::ip6() {
    Ip6Bytes address{};
    std::size_t size = 0;            // of what has been read
    std::optional<std::size_t> gap;  // where the "::" stands
    if (skip("::")) {
        gap = 0;
    }
    // Each turn is at the start of a group, which only a "::" before it makes optional.
    while (size < address.size() && (gap != size || digits() > 0)) {
        if (size <= 12 && text_.substr(offset_ + digits()).starts_with('.')) {
            Ip4Bytes const tail = ip4();
            std::copy(tail.begin(), tail.end(),
                      address.begin() + static_cast<std::ptrdiff_t>(size));
            size += tail.size();
            break;
        }
        std::uint16_t const value = group();
        address[size++] = static_cast<std::uint8_t>(value >> 8);
        address[size++] = static_cast<std::uint8_t>(value & 0xff);
        if (size == address.size()) {
            break;
        }
        if (!gap && skip("::")) {
            gap = size;
        } else if (!skip(":")) {
            break;
        }
    }
    if (gap.has_value() == (size == address.size())) {
        fail(gap ? "fewer than eight groups beside \"::\"" : "eight groups");
    }
    if (gap) {
        // What was read behind the "::" belongs at the end.
        auto const from = address.begin() + static_cast<std::ptrdiff_t>(*gap);
        std::rotate(from, address.begin() + static_cast<std::ptrdiff_t>(size), address.end());
    }
    return address;
}

std::uint8_t AddrReader::prefixLength(std::uint8_t maxLength) {
    if (!skip("/")) {
        fail("\"/\" and a prefix length");
    }
    return decimal(maxLength, maxLength == 32 ? "a prefix length from 0 to 32"
                                              : "a prefix length from 0 to 128");
}

void AddrReader::end() const {
    if (offset_ != text_.size()) {
        fail("the end of the text");
    }
}

void AddrReader::fail(std::string_view expected) const {
    throw Zin::ParseError({}, offset_, expected);
}

bool AddrReader::isNext(std::string_view text) const {
    return text_.substr(offset_).starts_with(text);
}

bool AddrReader::skip(std::string_view text) {
    bool const next = isNext(text);
    if (next) {
        offset_ += text.size();
    }
    return next;
}

std::size_t AddrReader::digits() const {
    std::string_view const rest = text_.substr(offset_);
    return static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), isHexDigit) -
                                    rest.begin());
}

std::uint8_t AddrReader::decimal(std::uint8_t max, std::string_view expected) {
    std::string_view const rest = text_.substr(offset_);
    std::size_t size = 0;
    std::uint32_t value = 0;
    while (size < rest.size() && isDigit(rest[size]) && value <= max) {
        value = 10 * value + static_cast<std::uint32_t>(rest[size++] - '0');
    }
    if (size == 0 || value > max || (size > 1 && rest[0] == '0')) {
        fail(expected);
    }
    offset_ += size;
    return static_cast<std::uint8_t>(value);
}

std::uint16_t AddrReader::group() {
    std::size_t const size = digits();
    if (size == 0 || size > 4) {
        fail("one to four hexadecimal digits");
    }
    std::uint16_t value = 0;
    char const* const first = text_.data() + offset_;
    std::from_chars(first, first + size, value, 16);
    offset_ += size;
    return value;
}

std::uint8_t checkPrefixLength(std::uint8_t length, std::uint8_t maxLength) {
    if (length > maxLength) {
        throw Zin::RangeError(fmt::format("prefix length {} > {} not allowed", length, maxLength));
    }
    return length;
}

}  // namespace Nimb
