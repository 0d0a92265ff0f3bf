// How addresses and prefix lengths are written and read; the addresses' own text forms are made of
// these pieces.
//
// Written in canonical form: IPv4 as a dotted quad, IPv6 after RFC 5952. Read strictly: IPv4 in
// four decimal numbers, IPv6 in any form of RFC 4291 section 2.2; no leading zeros in decimal
// numbers, no blanks, no zone. Neither uses the locale or the heap.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Nimb/AddrBytes.h"

namespace Nimb {

// A text that is short enough to be kept on the stack.
class AddrText {
public:
    // Valid for as long as this lives and is not appended to.
    operator std::string_view() const { return {bytes_.data(), size_}; }

    // Each appends; there is room for an IPv6 address and its prefix length.
    AddrText& operator<<(char c);
    AddrText& operator<<(std::string_view text);
    AddrText& operator<<(Ip4Bytes const& address);
    AddrText& operator<<(Ip6Bytes const& address);
    AddrText& number(std::uint32_t value, int base = 10);

private:
    static constexpr std::size_t maxSize =
        std::string_view("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128").size();

    std::array<char, maxSize> bytes_{};
    std::size_t size_ = 0;
};

// Reads an address text from front to back. Failures are thrown as ParseError.
class AddrReader {
public:
    explicit AddrReader(std::string_view text) : text_(text) {}

    // By its first colon; the rest of it may be malformed all the same.
    bool isIp6() const { return text_.find(':') != std::string_view::npos; }

    // Dotted decimal without leading zeros; IPv6 as RFC 4291 section 2.2 has it.
    Ip4Bytes ip4();
    Ip6Bytes ip6();
    // "/" and a prefix length of at most `maxLength`.
    std::uint8_t prefixLength(std::uint8_t maxLength);
    void end() const;
    [[noreturn]] void fail(std::string_view expected) const;

private:
    bool isNext(std::string_view text) const;
    bool skip(std::string_view text);
    // How many hexadecimal digits come next.
    std::size_t digits() const;
    std::uint8_t decimal(std::uint8_t max, std::string_view expected);
    std::uint16_t group();

    std::string_view text_;
    std::size_t offset_ = 0;
};

// Throws RangeError unless `length` is at most `maxLength`.
std::uint8_t checkPrefixLength(std::uint8_t length, std::uint8_t maxLength);

}  // namespace Nimb
