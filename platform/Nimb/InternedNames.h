// The names of interfaces, each of which stands here once for all who have it in this process.
//
//   in     a name, whatever its bytes and its length
//   out    its number, which is the same for all who have the name, and nobody else's
//
// Each owner of a number is counted. The last one takes the name along, and its number is another
// name's next. Number 0 is the empty name: nobody counts its owners, and nothing is touched for it.
//
// Counts and table obey the switch of Zin::threadSafePointers() as the counts of entities do: while
// it is on, any thread may own, add and drop.
//
//   index    name -> number           changed by who makes a name, and by who drops the last owner
//   chunks   records by their number  never move and are never given back, so a record is found by
//                                     its number alone, under no lock
//
// A record holds a name of up to 23 bytes, as those of all kernel devices are. A longer one has a
// block on the heap, for as long as it has owners.
//
// The table outlives all static objects, and its hash key is its own, drawn with the first name:
// names may be static, and be made before the process has its key (see Zin/HashKey.h).
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Zin/Entity.h"

namespace Nimb {

class [[gnu::visibility("default")]] InternedNames {
public:
    // 0 is the empty name's, which nobody owns.
    using Number = std::uint32_t;

    // The name's number; the caller is one more of its owners. Throws std::bad_alloc,
    // std::out_of_range where there are 33 million names, and the first time std::system_error
    // where there is no entropy; then nothing has changed.
    static Number own(std::string_view name);

    // Of a number that the caller owns. The view is valid for as long as the number has owners.
    static std::string_view name(Number number) noexcept;
    static void addOwner(Number number) noexcept;
    static void dropOwner(Number number) noexcept;

private:
    class Record;
    struct Table;

    static constexpr std::size_t chunkSize = 256;
    static constexpr std::size_t maxChunks = std::size_t{1} << 17;

    static Record& record(Number number) noexcept;
    static Table& table();
    static void dropLastOwner(Number number) noexcept;

    static inline constinit std::array<Record*, maxChunks> chunks_{};
};

// A name in the table, and how many own its number.
class InternedNames::Record {
public:
    Record() = default;
    // Refers to a name that does not fit.
    Record(std::string_view name, std::uint32_t hash) { set(name, hash); }

    // Whether the name is kept elsewhere, where it does not fit.
    bool isLong() const noexcept { return tag() == longTag; }
    std::string_view name() const noexcept {
        if (!isLong()) {
            return {bytes_.data(), tag()};
        }
        Long elsewhere;
        std::memcpy(&elsewhere, bytes_.data(), sizeof elsewhere);
        return {elsewhere.bytes, elsewhere.size};
    }
    std::uint32_t hash() const noexcept { return hash_; }
    void set(std::string_view name, std::uint32_t hash) noexcept;

    // Of a free number: the next free one, 0 for none.
    std::atomic<std::uint32_t> owners = 0;

private:
    struct Long {
        char const* bytes;
        std::size_t size;
    };
    static constexpr std::uint8_t longTag = 0xff;

    // The length of a name that fits.
    std::uint8_t tag() const noexcept { return static_cast<std::uint8_t>(bytes_.back()); }

    std::uint32_t hash_ = 0;
    // The name or a Long, and the tag. Aligned, so that LeakSanitizer finds the block of a Long.
    alignas(Long) std::array<char, 24> bytes_{};
};

inline InternedNames::Record& InternedNames::record(Number number) noexcept {
    return chunks_[number / chunkSize][number % chunkSize];
}

inline std::string_view InternedNames::name(Number number) noexcept {
    return number == 0 ? std::string_view() : record(number).name();
}

inline void InternedNames::addOwner(Number number) noexcept {
    if (number == 0) {
        return;
    }
    auto& owners = record(number).owners;
    if (Zin::threadSafePointers()) {
        owners.fetch_add(1, std::memory_order_relaxed);
    } else {
        owners.store(owners.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
}

inline void InternedNames::dropOwner(Number number) noexcept {
    if (number == 0) {
        return;
    }
    auto& owners = record(number).owners;
    std::uint32_t count = owners.load(std::memory_order_relaxed);
    // Who may be the last has to see to it that nobody finds the name meanwhile.
    while (count != 1) {
        if (!Zin::threadSafePointers()) {
            owners.store(count - 1, std::memory_order_relaxed);
            return;
        }
        if (owners.compare_exchange_weak(count, count - 1, std::memory_order_release,
                                         std::memory_order_relaxed)) {
            return;
        }
    }
    dropLastOwner(number);
}

}  // namespace Nimb
