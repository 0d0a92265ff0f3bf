// The name of an interface. The empty name stands for no interface.
//
// Interface names are keys of nearly every collection, so this is a value of four bytes: the number
// of the name, which stands once for all its copies in the process's table of names (see
// Nimb/InternedNames.h, also for threads). Copying counts, comparing for equality and hashing look
// at the number alone, and the empty name touches nothing else.
//
// Making one may throw std::bad_alloc. Names compare by their bytes, as std::string_view does. A
// hash is a name's for as long as any IntfId of that name lives.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Nimb/InternedNames.h"
#include "Zin/Hash.h"
#include "Zin/Text.h"

namespace Nimb {

class IntfId : public Zin::TextValue<IntfId> {
public:
    class Raw;

    constexpr IntfId() noexcept = default;
    // Of any bytes; the name is copied where it is new. Throws std::bad_alloc.
    IntfId(std::string_view name) : number_(InternedNames::own(name)) {}
    IntfId(std::string const& name) : IntfId(std::string_view(name)) {}
    IntfId(char const* name) : IntfId(std::string_view(name)) {}
    IntfId(IntfId const& other) noexcept : TextValue(), number_(other.number_) {
        InternedNames::addOwner(number_);
    }
    IntfId(IntfId&& other) noexcept : TextValue(), number_(std::exchange(other.number_, 0)) {}
    // By value: serves copies and moves, of itself too.
    IntfId& operator=(IntfId other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~IntfId() { InternedNames::dropOwner(number_); }

    // Valid while this IntfId lives and keeps its value.
    std::string_view name() const noexcept { return InternedNames::name(number_); }
    std::string_view text() const noexcept { return name(); }
    bool empty() const noexcept { return number_ == 0; }

    std::uint32_t hash(std::uint32_t seed = 0) const noexcept {
        return Zin::hashWords(seed, number_);
    }

    friend bool operator==(IntfId const& a, IntfId const& b) noexcept {
        return a.number_ == b.number_;
    }
    friend std::strong_ordering operator<=>(IntfId const& a, IntfId const& b) noexcept {
        return a == b ? std::strong_ordering::equal : a.name() <=> b.name();
    }

    // A copy of the name that owns nothing, for records that are only looked at later. A long name
    // is cut, and marked with a "~" at its end.
    Raw raw() const noexcept;

private:
    InternedNames::Number number_ = 0;
};

// The bytes of a name, which may be copied as memory is.
class IntfId::Raw {
public:
    // Of an IntfId that was empty.
    Raw() = default;
    // What a damaged file holds may say that it is longer than it can be.
    std::string_view text() const noexcept {
        return {bytes_.data(), size_ < maxSize ? size_ : maxSize};
    }
    std::string toStrep() const { return std::string(text()); }

private:
    friend class IntfId;

    static constexpr std::size_t maxSize = 23;

    std::array<char, maxSize> bytes_{};
    std::uint8_t size_ = 0;
};

}  // namespace Nimb
