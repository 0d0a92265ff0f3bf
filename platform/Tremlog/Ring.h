// The process's trace ring: the last records of all classes, always on.
//
//   in     write: a descriptor and the raw bytes of its arguments, from Tremlog::record
//   out    entries, messages, decode: what the ring still holds, oldest first, as text
//
// Recording stamps the time and copies bytes into a slot of fixed size: it never allocates,
// formats, blocks or throws. Formatting is the decoder's, which finds in each slot's descriptor
// what the bytes mean; where a formatter throws, the entry says so in the message's place. The
// newest record takes the place of the oldest.
//
// The ring is meant for one thread and safe for any: a record made while somebody else is busy with
// the ring is not written but counted in lost(). Whoever reads waits for another thread's record;
// one who reads in the middle of a record of its own thread, as after a fault there, gets all but
// that one, and in its place an entry that says that the ring is in use. Reading takes memory, so
// it is not for handlers of signals that may come at any time. clear() is: it never waits, and a
// record that it interrupts is the first of those that follow.
//
// Names and texts are held cut (Tremlog/Record.h): one that ends in "~" was longer, and two that
// read alike up to there, such as interface names that differ after their 22nd byte, may be two.
//
// Failures that a turn drops (Zin/Turn.h) are recorded too: "suppressed failure: {}".
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
    std::uint64_t sequence;  // counted from 0 at the start, or from clear() on
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
    std::uint64_t count() const noexcept {
        std::uint64_t const first = cleared();
        return written() - first;
    }
    std::uint64_t lost() const noexcept { return lost_.load(std::memory_order_relaxed); }

    std::vector<Entry> entries() const;

    // `store` copies the arguments to the bytes it is given.
    template <class Store>
    void write(Descriptor const& descriptor, Store store) noexcept {
        if (!take()) [[unlikely]] {
            lost_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        std::uint64_t const sequence = written();
        Slot& slot = slots_[sequence % slotCount];
        slot.ticks = ticks();
        slot.descriptor = &descriptor;
        store(slot.arguments.data());
        written_.store(sequence + 1, std::memory_order_relaxed);
        give();
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

    using Holder = char const*;

    std::uint64_t written() const noexcept { return written_.load(std::memory_order_relaxed); }
    std::uint64_t cleared() const noexcept { return cleared_.load(std::memory_order_acquire); }
    // False where the ring is held already.
    bool take() const noexcept {
        Holder nobody = nullptr;
        return holder_.compare_exchange_strong(nobody, &thisThread_, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }
    void give() const noexcept { holder_.store(nullptr, std::memory_order_release); }

    static constinit inline thread_local char thisThread_ = 0;  // its address names the thread

    // The thread that records, or copies the ring; null where none does.
    mutable std::atomic<Holder> holder_ = nullptr;
    std::atomic<std::uint64_t> written_ = 0;
    std::atomic<std::uint64_t> cleared_ = 0;  // how many were written when last cleared
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
