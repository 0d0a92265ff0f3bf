// Slots: places for items, each with a number. An item stands at the same address for as long as
// its place is taken; numbers of places that were given back are used again.
//
// - Places stand in chunks of bounded size, so neither the making of places nor the release of
//   memory is ever long. A chunk whose last item has gone is released, save for one, so that who
//   comes and goes at its edge does not make it and release it again and again.
// - Without items since it was made or released, or since more than a few have gone, it owns no
//   memory.
//
//     chunk    { used, fresh, free, neighbours with room } item item item ...
//     sizes    2, 6, 8, 16, 32 ... and then all alike
//
// Makes and destroys no items: that is for whoever takes places. Internal to the maps.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace Zin {

// The number of a place; 0 for none.
using Slot = std::uint32_t;

template <class Item>
class Slots {
public:
    Slots() = default;
    Slots(Slots&& that) noexcept { swap(that); }
    Slots& operator=(Slots that) noexcept {
        swap(that);
        return *this;
    }
    ~Slots() { release(); }

    Item& operator[](Slot slot) const {
        return *reinterpret_cast<Item*>(origins_[chunkOf(slot)] +
                                        std::uintptr_t{slot} * sizeof(Item));
    }

    // A place for whoever makes an item there. Throws std::bad_alloc, std::length_error.
    Slot take() {
        if (roomy_ == none) {
            addRoom();
        }
        std::uint32_t const number = roomy_;
        Chunk& chunk = chunkAt(number);
        std::uint16_t place = chunk.free;
        if (place != 0) {
            std::memcpy(&chunk.free, bytesAt(chunk, place), sizeof chunk.free);
        } else {
            place = ++chunk.fresh;
        }
        ++taken_;
        if (chunk.used++ == 0 && spare_ == number) {
            spare_ = none;
        }
        if (chunk.used == sizeOf(number)) {
            leaveRoomy(chunk);
        }
        return baseOf(number) + place;
    }

    // The item there has gone.
    void give(Slot slot) noexcept {
        if (--taken_ == 0 && count_ > fewChunks) {
            release();
            return;
        }
        std::uint32_t const number = chunkOf(slot);
        Chunk& chunk = chunkAt(number);
        auto const place = static_cast<std::uint16_t>(slot - baseOf(number));
        std::memcpy(bytesAt(chunk, place), &chunk.free, sizeof chunk.free);
        chunk.free = place;
        if (chunk.used-- == sizeOf(number)) {
            joinRoomy(chunk, number);
        }
        if (chunk.used == 0 && number >= fewChunks) {
            if (spare_ == none) {
                spare_ = number;
            } else {
                leaveRoomy(chunk);
                releaseChunk(number);
            }
        }
    }

    // Gives all memory back; the items have gone.
    void release() noexcept {
        for (std::uint32_t number = 0; number < count_; ++number) {
            if (origins_[number] != 0) {
                releaseChunk(number);
            }
        }
        ::operator delete(origins_);
        origins_ = nullptr;
        count_ = capacity_ = taken_ = 0;
        roomy_ = spare_ = none;
    }

private:
    static_assert(alignof(Item) <= alignof(std::max_align_t));
    static_assert(sizeof(Item) >= sizeof(std::uint16_t), "a free place holds the next one");

    static constexpr std::uint32_t none = ~std::uint32_t{0};
    static constexpr std::uint32_t fewChunks = 2;
    // Log2 of the size of all but the first chunks: 64 KiB and more, if items are neither very
    // small nor very large. Releasing as much has malloc put together what was freed before: a
    // little each time, and not all of it in one long event.
    static constexpr std::uint32_t shiftFor64KiB =
        static_cast<std::uint32_t>(std::bit_width(65535 / sizeof(Item)));
    static constexpr std::uint32_t shift = shiftFor64KiB < 4    ? 4
                                           : shiftFor64KiB > 12 ? 12
                                                                : shiftFor64KiB;
    static constexpr std::uint32_t perChunk = 1U << shift;
    static constexpr std::uint32_t maxChunks = (~std::uint32_t{0} >> shift) - shift;

    // What stands before a chunk's items. Places are counted from 1 here; 0 is none.
    struct alignas(std::max_align_t) Chunk {
        std::uint16_t used = 0;
        std::uint16_t fresh = 0;        // places up to here have been used
        std::uint16_t free = 0;         // used before; each such place holds the next one
        std::uint32_t previous = none;  // with room
        std::uint32_t next = none;
    };

    static std::uint32_t chunkOf(Slot slot) {
        std::uint32_t const at = slot - 1;
        if (at >= perChunk) {
            return (at >> shift) + shift - 2;
        }
        return at < 8 ? std::uint32_t{at >= 2} : static_cast<std::uint32_t>(std::bit_width(at)) - 2;
    }
    // What the places of a chunk are counted from.
    static Slot baseOf(std::uint32_t number) {
        if (number > shift - 2) {
            return (number - (shift - 2)) << shift;
        }
        return number < 2 ? 2 * number : 4U << (number - 1);
    }
    static std::uint32_t sizeOf(std::uint32_t number) {
        if (number > shift - 2) {
            return perChunk;
        }
        return number < 2 ? 2 + 4 * number : 4U << (number - 1);
    }

    Chunk& chunkAt(std::uint32_t number) const {
        return reinterpret_cast<Chunk*>(origins_[number] +
                                        std::uintptr_t{baseOf(number) + 1} * sizeof(Item))[-1];
    }
    static std::byte* bytesAt(Chunk& chunk, std::uint16_t place) {
        return reinterpret_cast<std::byte*>(&chunk + 1) + (place - 1) * sizeof(Item);
    }

    // A chunk in the place of one that was released, if there is such a place, else behind all.
    void addRoom() {
        std::uint32_t number = 0;
        while (number < count_ && origins_[number] != 0) {
            ++number;
        }
        if (number == count_ && count_ == capacity_) {
            growTable();
        }
        void* const memory = ::operator new(sizeof(Chunk) + sizeOf(number) * sizeof(Item));
        auto* const chunk = ::new (memory) Chunk;
        origins_[number] = reinterpret_cast<std::uintptr_t>(chunk + 1) -
                           std::uintptr_t{baseOf(number) + 1} * sizeof(Item);
        if (number == count_) {
            ++count_;
        }
        joinRoomy(*chunk, number);
    }
    void growTable() {
        if (capacity_ >= maxChunks) {
            throw std::length_error("Zin::Slots is full");
        }
        std::uint32_t const capacity = capacity_ == 0 ? fewChunks : 2 * capacity_;
        auto* const table =
            static_cast<std::uintptr_t*>(::operator new(capacity * sizeof(std::uintptr_t)));
        for (std::uint32_t number = 0; number < count_; ++number) {
            table[number] = origins_[number];
        }
        ::operator delete(std::exchange(origins_, table));
        capacity_ = capacity;
    }
    void releaseChunk(std::uint32_t number) noexcept {
        ::operator delete(&chunkAt(number));
        origins_[number] = 0;
    }

    void joinRoomy(Chunk& chunk, std::uint32_t number) noexcept {
        chunk.next = std::exchange(roomy_, number);
        if (chunk.next != none) {
            chunkAt(chunk.next).previous = number;
        }
    }
    void leaveRoomy(Chunk const& chunk) noexcept {
        (chunk.previous == none ? roomy_ : chunkAt(chunk.previous).next) = chunk.next;
        if (chunk.next != none) {
            chunkAt(chunk.next).previous = chunk.previous;
        }
    }

    void swap(Slots& that) noexcept {
        std::swap(origins_, that.origins_);
        std::swap(count_, that.count_);
        std::swap(capacity_, that.capacity_);
        std::swap(taken_, that.taken_);
        std::swap(roomy_, that.roomy_);
        std::swap(spare_, that.spare_);
    }

    // Of each chunk the address less what the number of its first place adds to it: adding a
    // place's number leads to its item. 0 for one that was released.
    std::uintptr_t* origins_ = nullptr;
    std::uint32_t count_ = 0;
    std::uint32_t capacity_ = 0;
    std::uint32_t taken_ = 0;
    std::uint32_t roomy_ = none;  // the first chunk with room
    std::uint32_t spare_ = none;  // without items, and kept
};

}  // namespace Zin
