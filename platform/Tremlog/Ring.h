// The process's trace ring: the last records of all classes, always on.
//
//   in     write: a descriptor and the raw bytes of its arguments, from Tremlog::record
//   out    entries, messages, decode: what the ring still holds, oldest first, as text
//   time   whoever moved it calls measure() once in a while, for readers of the file
//
// Recording stamps the time and copies bytes into a slot of fixed size: it never allocates,
// formats, blocks or throws. Formatting is the decoder's, which finds in the ring's own catalogue
// what the bytes mean (Image.h); where a formatter throws, the entry says so in the message's
// place. The newest record takes the place of the oldest.
//
// The ring begins in the process's own memory. moveTo() takes it elsewhere, once, with what it
// holds: to memory that is a file's, where it can be read beside the process and after its end.
// Writing to that may wait where the kernel writes the file to a disk, so it lies best in a file
// system without one.
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

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Tremlog/Clock.h"
#include "Tremlog/Image.h"
#include "Tremlog/Kind.h"

namespace Tremlog {

// What every record of one kind has in common.
struct Descriptor {
    std::string_view format;                  // borrowed for good
    std::span<Kind const* const> kinds = {};  // of its arguments
    // In the catalogue; 0 before the first record. Whoever holds the ring may look.
    std::uint16_t number = 0;
};

class Ring {
public:
    // How many records it holds, and how many bytes of arguments each.
    static constexpr std::size_t slotCount = Image::slotCount;
    static constexpr std::size_t argumentSize = Slot::argumentSize;

    constexpr Ring() = default;
    Ring(Ring const&) = delete;
    Ring& operator=(Ring const&) = delete;

    // How many records were written, and how many were not.
    std::uint64_t count() const noexcept {
        std::uint64_t const first = cleared();
        return written() - first;
    }
    std::uint64_t lost() const noexcept { return load(header().lost); }

    // What it still holds, oldest first. Throws std::bad_alloc.
    std::vector<Entry> entries() const;

    // `store` copies the arguments to the bytes it is given. A record whose format has no place in
    // the catalogue is lost.
    template <class Store>
    void write(Descriptor& descriptor, Store store) noexcept {
        if (!take()) [[unlikely]] {
            lose();
            return;
        }
        if (descriptor.number == 0 && !enter(descriptor)) [[unlikely]] {
            lose();
            give();
            return;
        }
        Image& image = *image_.load(std::memory_order_relaxed);
        std::uint64_t const sequence = load(image.header.written);
        Slot& slot = image.slots[sequence % slotCount];
        std::uint64_t const stamp = (sequence + 1) << Slot::formatBits;
        std::atomic_ref const slotStamp(slot.stamp);
        slotStamp.store(stamp | Slot::unfinished, std::memory_order_relaxed);
        keepOrder();
        slot.ticks = ticks();
        store(slot.arguments.data());
        slotStamp.store(stamp | descriptor.number, std::memory_order_release);
        std::atomic_ref(image.header.written).store(sequence + 1, std::memory_order_relaxed);
        give();
    }

    // Takes the ring to `image`, which is zero and stays for as long as the process does. Not while
    // others use the ring.
    void moveTo(Image& image, std::string_view identity);
    // What ticks are is known the better the longer they have been counted.
    void measure() noexcept;

    // Forgets everything, the counts too.
    void clear() noexcept;

private:
    using Holder = char const*;

    static std::uint64_t load(std::uint64_t& count) noexcept {
        return std::atomic_ref(count).load(std::memory_order_relaxed);
    }
    Image::Header& header() const noexcept {
        return image_.load(std::memory_order_relaxed)->header;
    }
    std::uint64_t written() const noexcept { return load(header().written); }
    std::uint64_t cleared() const noexcept {
        return std::atomic_ref(header().cleared).load(std::memory_order_acquire);
    }
    void lose() noexcept { std::atomic_ref(header().lost).fetch_add(1, std::memory_order_relaxed); }
    // Into the catalogue; false where it is full.
    bool enter(Descriptor& descriptor) noexcept;
    // For readers of other processes: the stamp is unfinished before anything else of the slot is
    // seen to change. ThreadSanitizer does not know fences; within the process the holder is
    // enough.
    static void keepOrder() noexcept {
#if !defined(__SANITIZE_THREAD__)
        std::atomic_thread_fence(std::memory_order_release);
#endif
    }
    // False where the ring is held already.
    bool take() const noexcept {
        Holder nobody = nullptr;
        return holder_.compare_exchange_strong(nobody, &thisThread_, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }
    void give() const noexcept { holder_.store(nullptr, std::memory_order_release); }

    // Its address names the thread.
    [[gnu::visibility("default")]] static constinit inline thread_local char thisThread_ = 0;

    // The thread that records, or copies the ring; null where none does.
    mutable std::atomic<Holder> holder_ = nullptr;
    static constinit Image memory_;
    std::atomic<Image*> image_ = &memory_;
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
