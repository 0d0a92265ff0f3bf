// A text argument as a record holds it: its first bytes, inline, so that recording copies no more
// than a fixed size and keeps nothing of the caller's alive. A longer text is cut, and marked with
// a "~" at its end.
#pragma once

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Tremlog {

// Holds at most `capacity` bytes; `capacity` is at most 255.
template <std::size_t capacity>
class CutText {
public:
    // What it is called as a Kind, whatever its capacity.
    static constexpr std::string_view kind = "text";

    explicit CutText(std::string_view text) noexcept
        : bytes_{}, size_(static_cast<std::uint8_t>(std::min(text.size(), capacity))) {
        text.copy(bytes_.data(), capacity);
        if (text.size() > capacity) {
            bytes_.back() = '~';
        }
    }

    // What a damaged file holds may say that it is longer than it can be.
    std::string_view text() const noexcept {
        return {bytes_.data(), std::min<std::size_t>(size_, capacity)};
    }

private:
    std::array<char, capacity> bytes_;
    std::uint8_t size_;
};

// What records hold of a text.
using Text = CutText<31>;

}  // namespace Tremlog

template <std::size_t capacity>
struct fmt::formatter<Tremlog::CutText<capacity>> : fmt::formatter<fmt::string_view> {
    template <class Context>
    auto format(Tremlog::CutText<capacity> const& text, Context& context) const {
        return fmt::formatter<fmt::string_view>::format(text.text(), context);
    }
};
