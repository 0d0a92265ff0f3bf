// The name of an interface. The empty name stands for no interface.
//
// Interface names are keys of nearly every collection, so this is a value of three words: a name of
// up to 23 bytes (every kernel device name is one) stands in it, zero padded, the last byte holding
// its length. Copying, comparing and hashing such a name is word arithmetic and never touches the
// heap. A longer name is shared by all copies of the IntfId, in an immutable block on the heap that
// the last of them frees; copies may be used from different threads.
//
// Names compare by their bytes, as std::string_view does.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IntfId : public Zin::TextValue<IntfId> {
public:
    class Raw;

    constexpr IntfId() noexcept = default;
    IntfId(std::string_view name);
    IntfId(std::string const& name) : IntfId(std::string_view(name)) {}
    IntfId(char const* name) : IntfId(std::string_view(name)) {}
    IntfId(IntfId const& other) noexcept : TextValue(), words_(other.words_) { share(); }
    IntfId(IntfId&& other) noexcept : TextValue(), words_(std::exchange(other.words_, Words{})) {}
    // By value: serves copies and moves, of itself too.
    IntfId& operator=(IntfId other) noexcept {
        std::swap(words_, other.words_);
        return *this;
    }
    ~IntfId() {
        if (isLong()) {
            release();
        }
    }

    // Valid while this IntfId lives and keeps its value.
    std::string_view name() const noexcept {
        return isLong() ? longName() : std::string_view(inlineBytes(), tag());
    }
    std::string_view text() const noexcept { return name(); }
    bool empty() const noexcept { return tag() == 0; }

    std::uint32_t hash(std::uint32_t seed = 0) const noexcept {
        return isLong() ? longHash(seed) : Zin::hashWords(seed, words_[0], words_[1], words_[2]);
    }

    friend bool operator==(IntfId const& a, IntfId const& b) noexcept {
        std::uint64_t const difference =
            (a.words_[0] ^ b.words_[0]) | (a.words_[1] ^ b.words_[1]) | (a.words_[2] ^ b.words_[2]);
        return difference == 0 || (a.isLong() && b.isLong() && a.name() == b.name());
    }
    friend std::strong_ordering operator<=>(IntfId const& a, IntfId const& b) noexcept {
        if (a.isLong() || b.isLong()) {
            return a.name() <=> b.name();
        }
        // The words in the order of their bytes; where one name is the other and zero bytes
        // behind it, the length in the last byte decides.
        for (std::size_t i = 0; i < 3; ++i) {
            if (a.words_[i] != b.words_[i]) {
                return bigEndian(a.words_[i]) <=> bigEndian(b.words_[i]);
            }
        }
        return std::strong_ordering::equal;
    }

    // A copy of the name that owns nothing, for records that are only looked at later. A long name
    // is cut, and marked with a "~" at its end.
    Raw raw() const noexcept;

private:
    using Words = std::array<std::uint64_t, 3>;
    struct Block;

    static constexpr std::size_t inlineMax = 23;
    static constexpr std::uint8_t longTag = 0xff;

    static constexpr std::uint64_t bigEndian(std::uint64_t word) {
        return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
    }

    // For an inline name its length.
    std::uint8_t tag() const noexcept {
        return static_cast<std::uint8_t>(bigEndian(words_[2]) & 0xff);
    }
    bool isLong() const noexcept { return tag() == longTag; }
    char const* inlineBytes() const noexcept { return reinterpret_cast<char const*>(&words_); }

    void share() noexcept {
        if (isLong()) {
            shareBlock();
        }
    }
    Block* block() const noexcept;
    void shareBlock() noexcept;
    void release() noexcept;
    std::string_view longName() const noexcept;
    std::uint32_t longHash(std::uint32_t seed) const noexcept;

    // Name and tag; for a long name the address of its block, its hash, and the tag.
    Words words_{};
};

class IntfId::Raw {
public:
    // Of an IntfId that was empty.
    Raw() = default;
    // What a damaged file holds may say that it is longer than it can be.
    std::string_view text() const noexcept {
        return {bytes_.data(), size_ < inlineMax ? size_ : inlineMax};
    }
    std::string toStrep() const { return std::string(text()); }

private:
    friend class IntfId;

    std::array<char, inlineMax> bytes_{};
    std::uint8_t size_ = 0;
};

}  // namespace Nimb
