// The bytes of a ring, which mean the same to another process: its slots, and the catalogue of
// formats that these name. They are the process's own memory, or a file's (Ring::moveTo), and then
// they stay when the process ends, however that happens.
//
// Each slot has a stamp: the number of its record, counted from 1, and its format; while the record
// is being written, `unfinished` in the format's place. Whoever reads beside the writer reads the
// stamp before and after the rest, and has a whole record where it was the same, and finished. A
// format is in the catalogue before a stamp names it, and stays as it is.
//
// The layout is that of the version and of the machine: plain values in its byte order. What is
// read from a file is not trusted (entriesOf).
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Tremlog/Clock.h"

namespace Tremlog {

// One record as text.
struct Entry {
    std::uint64_t sequence;  // counted from 0 at the start, or from clear() on
    double seconds;          // since the program was loaded
    std::string message;     // or, in angle brackets, why there is none
};

// A text with zeros behind it.
template <std::size_t capacity>
struct PaddedText {
    // Its first `capacity` bytes, over zeros.
    constexpr void put(std::string_view text) {
        std::copy_n(text.begin(), std::min(text.size(), capacity), bytes.begin());
    }
    // Up to the first zero, if there is one.
    constexpr std::string_view text() const {
        std::string_view const all(bytes.data(), bytes.size());
        return all.substr(0, all.find('\0'));
    }

    std::array<char, capacity> bytes;  // all of them, the zeros too
};

// One record. Its stamp is its number, above the lowest `formatBits` bits, and in these its
// format's, or `unfinished`.
struct Slot {
    static constexpr std::size_t argumentSize = 112;     // in bytes
    static constexpr unsigned formatBits = 16;           // of a stamp
    static constexpr std::uint64_t unfinished = 0xffff;  // in the format's place

    alignas(64) std::uint64_t stamp;                // 0 where no record has been
    std::uint64_t ticks;                            // when it was made, see Clock.h
    std::array<std::byte, argumentSize> arguments;  // raw, one right behind the other
};
static_assert(sizeof(Slot) == 128);

// A format in the catalogue, and what its records hold.
struct Format {
    static constexpr std::size_t maxSize = 200;     // of the text, in bytes
    static constexpr std::size_t maxArguments = 8;  // of one record

    // By which whoever reads finds its Kind.
    struct Argument {
        PaddedText<48> kind;  // the kind's name
        std::uint64_t size;   // in bytes
    };

    PaddedText<maxSize> text;                      // as fmt has it
    std::uint64_t argumentCount;                   // how many of `arguments` count
    std::array<Argument, maxArguments> arguments;  // in the order in which they stand in a slot
};

// Whether what it gives is no longer than its arguments are: no width or precision is of more than
// three digits, or is an argument's value.
constexpr bool isPlainFormat(std::string_view text) {
    bool isField = false;
    unsigned digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        digits = '0' <= text[i] && text[i] <= '9' ? digits + 1 : 0;
        bool const isDoubled = !isField && i + 1 < text.size() && text[i + 1] == text[i];
        if (digits > 3 || (isField && text[i] == '{') || text.substr(i, 2) == ":}") {
            return false;
        }
        if ((text[i] == '{' || text[i] == '}') && isDoubled) {
            ++i;
        } else if (text[i] == '{' || text[i] == '}') {
            isField = text[i] == '{';
        }
    }
    return true;
}

struct Image {
    // What the header of a ring has that this version writes, and can read.
    static constexpr std::string_view ownMagic = "tremlog";
    static constexpr std::uint32_t ownVersion = 1;
    static constexpr std::size_t slotCount = 4096;
    static constexpr std::size_t formatCount = 128;

    // Says what the rest is; faultOf says whether that can be read.
    struct Header {
        PaddedText<8> magic;        // `ownMagic`
        std::uint32_t version;      // of the layout
        std::uint32_t process;      // that writes it: its id
        std::uint64_t slotCount;    // how many slots follow
        std::uint64_t formatCount;  // for how many formats there is room
        PaddedText<64> identity;    // of the process's start
        TickScale scale;            // of the ticks in the slots
        std::uint64_t written;      // how many records
        std::uint64_t cleared;      // how many of them when it was last cleared
        std::uint64_t lost;         // how many records were not written since then
        std::uint64_t formats;      // how many the catalogue has
    };

    Header header;                            // what it is, and how much of it is used
    std::array<Format, formatCount> formats;  // the first has the number 1
    std::array<Slot, slotCount> slots;        // record n, from 0 on, is in slot n % slotCount
};
static_assert(std::is_trivially_copyable_v<Image>);

// Says what keeps it from being a ring that entriesOf() can read; empty where nothing does.
std::string faultOf(Image::Header const& header);

// What the ring holds, oldest first. In the place of a record that is not finished there is
// `unfinished`, in the place of what is damaged what is wrong with it. Nothing in the image, which
// has no fault of its header, is trusted.
std::vector<Entry> entriesOf(Image const& image, std::string_view unfinished);

}  // namespace Tremlog
