// The process's trace ring: the last records of all classes, always on.
//
//   in     write: a descriptor and the raw bytes of its arguments, from Tremlog::record
//   out    entries, messages, decode: what the ring still holds, oldest first, as text
//
// Recording stamps the time and copies bytes into a slot of fixed size: it never allocates,
// formats, blocks or throws. Formatting is the decoder's, which finds in each slot's descriptor
// what the bytes mean. The newest record takes the place of the oldest.
//
// The ring is meant for one thread and safe for any: a record made while another thread is busy
// with the ring is not written but counted in lost().
#pragma once

#include <fmt/core.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Tremlog/Clock.h"

namespace Tremlog {

// What every record of one kind has in common.
struct Descriptor {
    fmt::string_view format;
    std::string (*message)(fmt::string_view format, std::byte const* arguments);
};

// One record as text.
struct Entry {
    std::uint64_t sequence;  // counted from 0 at the start, or at clear()
    double seconds;          // since the program was loaded
    std::string message;
};

class Ring {
public:
    static constexpr std::size_t slotCount = 4096;
    static constexpr std::size_t argumentSize = 112;

    constexpr Ring() = default;
    Ring(Ring const&) = delete;
    Ring& operator=(Ring const&) = delete;

    // How many records were written, and how many were not.
    std::uint64_t count() const noexcept { return count_.load(std::memory_order_relaxed); }
    std::uint64_t lost() const noexcept { return lost_.load(std::memory_order_relaxed); }

    std::vector<Entry> entries() const;

    // `store` copies the arguments to the bytes it is given.
    template <class Store>
    void write(Descriptor const& descriptor, Store store) noexcept {
        if (busy_.test_and_set(std::memory_order_acquire)) [[unlikely]] {
            lost_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        std::uint64_t const sequence = count_.load(std::memory_order_relaxed);
        Slot& slot = slots_[sequence % slotCount];
        slot.ticks = ticks();
        slot.descriptor = &descriptor;
        store(slot.arguments.data());
        count_.store(sequence + 1, std::memory_order_relaxed);
        busy_.clear(std::memory_order_release);
    }

    // Forgets everything, the counts too.
    void clear() noexcept;

private:
    struct alignas(64) Slot {
        std::uint64_t ticks;
        Descriptor const* descriptor;
        std::array<std::byte, argumentSize> arguments;
    };
    static_assert(sizeof(Slot) == 128);

    class Hold;

    // Held for the time of one record, or of a copy of the ring.
    mutable std::atomic_flag busy_;
    std::atomic<std::uint64_t> count_ = 0;
    std::atomic<std::uint64_t> lost_ = 0;
    std::array<Slot, slotCount> slots_ = {};
};

extern constinit Ring ring;

inline std::uint64_t count() noexcept { return ring.count(); }
inline std::uint64_t lost() noexcept { return ring.lost(); }
inline void clear() noexcept { ring.clear(); }
inline std::vector<Entry> entries() { return ring.entries(); }

// The messages of the entries alone.
std::vector<std::string> messages();

// One line an entry: "[sequence] seconds message".
std::string decode();

}  // namespace Tremlog
