// HashIndex: numbers found by hash, for whoever can tell by a number alone what stands there.
//
// - It grows and shrinks by twice, and never at once: while a new table is filled, each change
//   moves two homes of the old one, so no change is long, however large the index is.
// - Tables stand in segments of bounded size, which are made when the first home in them is
//   filled, and released when the last home in them has been moved.
// - What throws (memory) leaves the index as it was.
//
//   table     segment segment segment ...
//   segment   [ 7 x hash, 7 x slot ] [ 7 x hash, 7 x slot ] ...   up to 1024 buckets of one cache
//                                                                 line each
//
// A hash's home is the bucket that its upper bits name; what finds its home full stands in the next
// bucket of the segment that is not, behind its last one in its first (see Zin/HashBucket.h). Homes
// are in the order of hashes, in every table: so they are moved, and scanned, in that order.
//
// Hashes are well mixed and keyed, so that no segment ever has many more than others; a segment
// that is full throws std::length_error.
//
// Internal to the maps.
#pragma once

#include <bit>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <utility>

#include "Zin/HashBucket.h"
#include "Zin/Slots.h"

namespace Zin {

class HashIndex {
public:
    // Where a number stands; 0 is none.
    struct Place {
        Slot slot = 0;
        HashBucket* bucket = nullptr;
        unsigned place = 0;
    };

    HashIndex() = default;
    HashIndex(HashIndex&& that) noexcept { swap(that); }
    HashIndex& operator=(HashIndex that) noexcept {
        swap(that);
        return *this;
    }
    ~HashIndex() { release(); }

    // Whether it has no memory: then nothing may be sought in it.
    bool empty() const noexcept { return now_.segments == nullptr; }

    // The number of that hash for which `is(number)` holds.
    template <class Is>
    Place find(std::uint32_t hash, Is const& is) const {
        Table const& table = tableOf(hash);
        std::uint32_t const home = table.home(hash);
        HashBucket* const segment = table.segmentOf(home);
        std::uint32_t at = home & table.inSegment;
        for (std::uint32_t seen = 0; seen <= table.inSegment; ++seen) {
            HashBucket& bucket = segment[at];
            for (unsigned left = bucket.match(hash); left != 0; left &= left - 1) {
                auto const place = static_cast<unsigned>(std::countr_zero(left));
                if (bucket.slot[place] != 0 && is(bucket.slot[place])) [[likely]] {
                    return {bucket.slot[place], &bucket, place};
                }
            }
            if (bucket.passed == 0) [[likely]] {
                break;
            }
            at = (at + 1) & table.inSegment;
        }
        return {};
    }

    // Makes room for a number of that hash, where there are to be `size` of them, and moves some of
    // the old table.
    void makeRoom(std::uint32_t hash, std::uint32_t size) {
        if (empty()) {
            begin();
        } else if (old_.segments != nullptr) {
            makeSegment(goal());
            move();
        } else if (size > now_.buckets() * usedOfBucket) {
            startMove(2 * now_.buckets());
        }
        Table const& table = tableOf(hash);
        if (!table.hasRoom(table.home(hash), 1)) {
            throw std::length_error("Zin::HashIndex: too many alike");
        }
    }
    // After makeRoom() for this very hash.
    void enter(std::uint32_t hash, Slot slot) noexcept { tableOf(hash).enter(hash, slot); }

    // Takes out what find() has found for that hash.
    void leave(std::uint32_t hash, Place const& found) noexcept {
        tableOf(hash).leave(hash, found);
    }
    // Moves some of the old table, where `size` numbers are left; lack of memory puts that off.
    void handleLeft(std::uint32_t size) noexcept {
        if (size == 0) {
            release();
            return;
        }
        try {
            if (old_.segments != nullptr) {
                makeSegment(goal());
                move();
            } else if (now_.buckets() > 1 && size < now_.buckets() * usedOfBucket / 8) {
                startMove(now_.buckets() / 2);
            }
        } catch (std::bad_alloc const&) {
        }
    }

    // Gives all memory back.
    void release() noexcept {
        old_.release();
        now_.release();
    }

    // Calls `each` with the numbers, some few, of hashes at least `from` and less than what is
    // returned.
    template <class Each>
    std::uint64_t scan(std::uint32_t from, Each const& each) const {
        Table const& table = tableOf(from);
        std::uint32_t const home = table.home(from);
        table.forEachAt(home, [&](HashBucket const& bucket, unsigned place) {
            if (bucket.hash[place] >= from) {
                each(bucket.slot[place]);
            }
        });
        return (std::uint64_t{home} + 1) << table.shift;
    }

private:
    static constexpr std::uint32_t usedOfBucket = 6;  // of its seven places
    static constexpr std::uint32_t segmentShift = 10;
    static constexpr std::align_val_t alignment{alignof(HashBucket)};

    struct Table {
        HashBucket** segments = nullptr;
        std::uint32_t shift = 32;     // hash >> shift is its home
        std::uint32_t inSegment = 0;  // number of buckets in a segment, less one
        std::uint32_t count = 0;      // of segments

        std::uint32_t buckets() const { return count * (inSegment + 1); }
        std::uint32_t home(std::uint32_t hash) const {
            return static_cast<std::uint32_t>(std::uint64_t{hash} >> shift);
        }
        HashBucket*& segmentOf(std::uint32_t home) const { return segments[home >> segmentShift]; }

        // Whether as many more find a place in the segment; looks from `home` on.
        bool hasRoom(std::uint32_t home, std::uint32_t number) const {
            HashBucket const* const segment = segmentOf(home);
            for (std::uint32_t seen = 0; number > 0 && seen <= inSegment; ++seen) {
                unsigned left = segment[(home + seen) & inSegment].empties();
                for (; number > 0 && left != 0; left &= left - 1) {
                    --number;
                }
            }
            return number == 0;
        }
        void enter(std::uint32_t hash, Slot slot) const {
            std::uint32_t at = home(hash);
            HashBucket* const segment = segmentOf(at);
            at &= inSegment;
            unsigned empties = segment[at].empties();
            while (empties == 0) {
                ++segment[at].passed;
                at = (at + 1) & inSegment;
                empties = segment[at].empties();
            }
            auto const place = std::countr_zero(empties);
            segment[at].hash[place] = hash;
            segment[at].slot[place] = slot;
        }
        void leave(std::uint32_t hash, Place const& found) const {
            std::uint32_t at = home(hash);
            HashBucket* const segment = segmentOf(at);
            for (at &= inSegment; &segment[at] != found.bucket; at = (at + 1) & inSegment) {
                --segment[at].passed;
            }
            found.bucket->slot[found.place] = 0;
        }
        // Calls `each` with the places of what is at home there, which may be taken out.
        template <class Each>
        void forEachAt(std::uint32_t home, Each const& each) const {
            HashBucket* const segment = segmentOf(home);
            for (std::uint32_t seen = 0; seen <= inSegment; ++seen) {
                HashBucket& bucket = segment[(home + seen) & inSegment];
                for (unsigned left = bucket.at(home, shift); left != 0; left &= left - 1) {
                    each(bucket, static_cast<unsigned>(std::countr_zero(left)));
                }
                if (bucket.passed == 0) {
                    return;
                }
            }
        }
        void releaseSegment(std::uint32_t number) const {
            ::operator delete(std::exchange(segments[number], nullptr), alignment);
        }
        void release() {
            for (std::uint32_t number = 0; number < count; ++number) {
                releaseSegment(number);
            }
            ::operator delete(segments);
            *this = {};
        }
    };

    // Where what has that hash stands.
    Table const& tableOf(std::uint32_t hash) const {
        return old_.segments != nullptr && old_.home(hash) >= moved_ ? old_ : now_;
    }

    static Table make(std::uint32_t buckets) {
        Table table;
        table.inSegment = (buckets < 1U << segmentShift ? buckets : 1U << segmentShift) - 1;
        table.count = buckets / (table.inSegment + 1);
        table.shift = 32 - static_cast<std::uint32_t>(std::countr_zero(buckets));
        table.segments =
            static_cast<HashBucket**>(::operator new(table.count * sizeof(HashBucket*)));
        for (std::uint32_t number = 0; number < table.count; ++number) {
            table.segments[number] = nullptr;
        }
        return table;
    }
    void begin() {
        now_ = make(1);
        try {
            makeSegment(0);
        } catch (...) {
            now_.release();
            throw;
        }
    }
    void startMove(std::uint32_t buckets) {
        old_ = std::exchange(now_, make(buckets));
        moved_ = 0;
    }
    // The homes that move next, all that are one home in the smaller table.
    std::uint32_t moving() const { return old_.buckets() < 2 ? old_.buckets() : 2; }
    // The first home that these go to; the others stand in the same segment.
    std::uint32_t goal() const {
        return now_.home(static_cast<std::uint32_t>(std::uint64_t{moved_} << old_.shift));
    }
    void makeSegment(std::uint32_t home) {
        HashBucket*& segment = now_.segmentOf(home);
        if (segment == nullptr) {
            std::size_t const size = std::size_t{now_.inSegment} + 1;
            segment =
                static_cast<HashBucket*>(::operator new(size * sizeof(HashBucket), alignment));
            for (std::size_t at = 0; at < size; ++at) {
                ::new (static_cast<void*>(segment + at)) HashBucket();
            }
        }
    }
    // Where the segment that they go to is too full, they wait until some have left there.
    void move() noexcept {
        std::uint32_t const end = moved_ + moving();
        std::uint32_t number = 0;
        for (std::uint32_t home = moved_; home < end; ++home) {
            old_.forEachAt(home, [&](HashBucket const&, unsigned) { ++number; });
        }
        if (!now_.hasRoom(goal(), number)) {
            return;
        }
        for (; moved_ < end; ++moved_) {
            // Nobody looks for it in the old table any more, whatever it is counted to have passed.
            old_.forEachAt(moved_, [&](HashBucket& bucket, unsigned place) {
                now_.enter(bucket.hash[place], std::exchange(bucket.slot[place], 0));
            });
        }
        if (moved_ == old_.buckets()) {
            old_.release();
        } else if ((moved_ & old_.inSegment) == 0) {
            old_.releaseSegment((moved_ - 1) >> segmentShift);
        }
    }

    void swap(HashIndex& that) noexcept {
        std::swap(now_, that.now_);
        std::swap(old_, that.old_);
        std::swap(moved_, that.moved_);
    }

    Table now_;
    // What is still to be moved of the table before: its homes from `moved_` on.
    Table old_;
    std::uint32_t moved_ = 0;
};

}  // namespace Zin
