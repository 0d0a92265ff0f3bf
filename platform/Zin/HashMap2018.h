// HashMap2018: members found by key in constant time and walked in the order of their insertion.
// HashSet2018 is the same with keys alone.
//
// - A member stands at the same address from its insertion to its removal. A new value under an old
//   key keeps the member's place in the order; removing and inserting moves it to the end. The
//   order depends on neither hashes nor seed.
// - Walks (begin(), from()) live through every change, see Zin/Walk.h.
// - A value is out of the map before it is destroyed, and the map is whole by then: the destruction
//   may look into the map, change it or destroy it. It must not throw; a Zin::Ptr does not,
//   whatever fails in the teardown that it sets off (see there).
// - What throws (memory, copying a key, making a value) leaves the map as it was. Making a value
//   must not change the map; hashing and comparing keys must not throw.
// - A map without members since it was made, cleared or emptied of more than a few owns no memory.
//
//   index     [ 12 x tag, 12 x slot ] [ 12 x tag, 12 x slot ] ...   buckets of one cache line each
//                          |
//   chunks    { key, value } ...  { previous, next } ...            members and links; never move
//
// A key's home is the bucket that the upper bits of its hash name; what finds its home full stands
// in the next bucket that is not (see Zin/HashBucket.h). A look-up touches one bucket and the
// member that it is for, as a rule. The links, which order the members, stand apart so that a
// removal, which changes those of both neighbours, touches few cache lines.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "Zin/HashBucket.h"
#include "Zin/MapMember.h"
#include "Zin/Walk.h"

namespace Zin {

// The hasher of keys that hash themselves.
template <class Key>
struct KeyHash {
    std::uint32_t seed;
    std::uint32_t operator()(Key const& key) const { return key.hash(seed); }
};

// Hash is made from the 32-bit seed (braces) and returns 32 well mixed bits.
template <class Key, class Value, class Hash = KeyHash<Key>>
class HashMap2018 {
    static constexpr bool hasValues = !std::is_void_v<Value>;
    using ValueOrNone = std::conditional_t<hasValues, Value, std::nullptr_t>;

public:
    using Member = MapMember<Key, Value>;
    using Iterator = Walk<HashMap2018>;
    using ConstIterator = Walk<HashMap2018 const>;
    struct Emplaced {
        ValueOrNone& value;
        bool inserted;
    };

    // The owner passes hashSeed() XOR a salt of its own.
    explicit HashMap2018(std::uint32_t seed) : hash_{seed} {}
    HashMap2018(HashMap2018 const&) = delete;
    HashMap2018& operator=(HashMap2018 const&) = delete;
    ~HashMap2018() {
        while (!empty()) {  // again if a dying value has inserted another
            clear();
        }
        store_.release();
    }

    std::uint32_t size() const noexcept { return store_.size; }
    bool empty() const noexcept { return store_.size == 0; }
    bool contains(Key const& key) const { return probe(key).member != nullptr; }

    // The value under the key, null if there is none.
    ValueOrNone* find(Key const& key) requires hasValues { return valueOf(probe(key)); }
    ValueOrNone const* find(Key const& key) const requires hasValues { return valueOf(probe(key)); }

    // Unless there is a member under the key, makes one of Value(args...).
    template <class... Args>
    Emplaced emplace(Key const& key, Args&&... args) requires hasValues {
        Probe const probed = probe(key);
        if (probed.member != nullptr) {
            return {probed.member->value, false};
        }
        return {add(probed.hash, key, std::forward<Args>(args)...).value, true};
    }

    // Whether the key was new, and now is not.
    bool insert(Key const& key) requires(!hasValues) {
        Probe const probed = probe(key);
        if (probed.member != nullptr) {
            return false;
        }
        add(probed.hash, key);
        return true;
    }

    // Whether there was a member under the key.
    bool erase(Key const& key) {
        Probe const probed = probe(key);
        if (probed.member == nullptr) {
            return false;
        }
        if constexpr (hasValues) {
            [[maybe_unused]] Value const last(std::move(probed.member->value));
            remove(probed);
        } else {
            remove(probed);
        }
        return true;
    }

    // Moves the value under the key out of the map; Value() if there is none.
    ValueOrNone take(Key const& key) requires hasValues {
        ValueOrNone taken{};
        Probe const probed = probe(key);
        if (probed.member != nullptr) {
            taken = std::move(probed.member->value);
            remove(probed);
        }
        return taken;
    }

    // The map is empty before the first value goes; values go in the order of their insertion.
    void clear() {
        Store const gone = std::exchange(store_, Store{});
        walks_.handleAllGone([](Position) { return nowhere(); });
        if constexpr (!std::is_trivially_destructible_v<Member>) {
            for (Slot slot = gone.first; slot != 0; slot = gone.links(slot).next) {
                std::destroy_at(&gone.member(slot));
            }
        }
        gone.release();
    }

    Iterator begin() { return Iterator(*this, store_.first); }
    ConstIterator begin() const { return ConstIterator(*this, store_.first); }
    Iterator end() { return {}; }
    ConstIterator end() const { return {}; }
    // A walk that starts at the last member; at its end where the map is empty.
    ConstIterator last() const { return ConstIterator(*this, store_.last); }
    // Where the key stands in the order of a scan: it depends on the seed and the key alone.
    std::uint32_t hashOf(Key const& key) const { return hash_(key); }
    static constexpr std::uint64_t scanEnd = std::uint64_t{1} << 32;
    // Calls `each` with the members, some few, whose hashes are at least `from` and less than what
    // is returned, from where the next call goes on. So from 0 to scanEnd each member that stands
    // throughout is met once, whatever comes and goes between calls, and nothing is kept of the
    // scan but a number. `each` does not change the map.
    template <class Each>
    std::uint64_t scan(std::uint64_t from, Each const& each) const {
        std::uint32_t const home = static_cast<std::uint32_t>(from >> store_.shift);
        std::uint32_t at = home;
        do {
            HashBucket const& bucket = store_.buckets[at];
            for (unsigned left = bucket.used(); left != 0; left &= left - 1) {
                Member const& member =
                    store_.member(bucket.slot[static_cast<unsigned>(std::countr_zero(left))]);
                std::uint32_t const hash = hash_(member.key);
                if (store_.home(hash) == home && hash >= from) {
                    each(member);
                }
            }
            if (bucket.passed == 0) {
                break;
            }
            at = store_.after(at);
        } while (at != home);
        return (std::uint64_t{home} + 1) << store_.shift;
    }
    // A walk that starts at the key; at its end if there is no such member.
    Iterator from(Key const& key) { return Iterator(*this, slotOf(probe(key))); }
    ConstIterator from(Key const& key) const { return ConstIterator(*this, slotOf(probe(key))); }

private:
    template <class>
    friend class Zin::Walk;

    // The number of a member's place in the chunks; 0 for none.
    using Slot = std::uint32_t;
    using Position = Slot;

    struct Links {
        Slot previous;
        Slot next;  // threads the free slots, too
    };

    // Where a key is; member is null if it is absent, and then only the hash counts.
    struct Probe {
        Member* member;
        HashBucket* bucket;
        unsigned place;
        std::uint32_t hash;
    };

    // A chunk's addresses, less what the number of its first slot adds to them: adding a slot's
    // number leads to its member and to its links.
    struct Chunk {
        std::uintptr_t members;
        std::uintptr_t links;
    };

    // All memory of a map. Each growth adds a chunk that fills the index, which is doubled from the
    // fourth chunk on, to ten of twelve; running out of slots is the one reason to grow. Chunk c
    // holds slots from 2 << c on. The table of the chunks follows the buckets.
    struct Store {
        static constexpr std::align_val_t indexAlignment{alignof(HashBucket)};
        static constexpr std::align_val_t chunkAlignment{
            std::max(alignof(Member), alignof(std::max_align_t))};
        static constexpr unsigned maxChunks = 30;

        HashBucket* buckets = &noBucket;
        Chunk* chunkTable = nullptr;
        std::uint32_t mask = 0;    // number of buckets less one
        std::uint32_t shift = 32;  // hash >> shift is its home
        std::uint32_t chunks = 0;
        std::uint32_t size = 0;
        Slot first = 0;
        Slot last = 0;
        Slot free = 0;   // used before, and free again
        Slot fresh = 0;  // of the last chunk, not used yet
        Slot freshEnd = 0;

        static Slot chunkBase(unsigned chunk) { return 2u << chunk; }
        static std::uint32_t chunkSize(unsigned chunk) {
            return chunk < 2 ? 2u + chunk : 5u << (chunk - 2);
        }
        Chunk const& chunkOf(Slot slot) const { return chunkTable[std::bit_width(slot) - 2]; }
        Member& member(Slot slot) const {
            return *reinterpret_cast<Member*>(chunkOf(slot).members +
                                              std::uintptr_t{slot} * sizeof(Member));
        }
        Links& links(Slot slot) const {
            return *reinterpret_cast<Links*>(chunkOf(slot).links +
                                             std::uintptr_t{slot} * sizeof(Links));
        }
        std::uint32_t home(std::uint32_t hash) const {
            return static_cast<std::uint32_t>(std::uint64_t{hash} >> shift);
        }
        std::uint32_t after(std::uint32_t bucket) const { return (bucket + 1) & mask; }

        // Gives the slot the first empty place from the home of its hash on.
        void enter(std::uint32_t hash, Slot slot) const {
            std::uint32_t at = home(hash);
            unsigned empties = buckets[at].empties();
            while (empties == 0) {
                ++buckets[at].passed;
                at = after(at);
                empties = buckets[at].empties();
            }
            auto const place = std::countr_zero(empties);
            buckets[at].tag[place] = HashBucket::tagOf(hash);
            buckets[at].slot[place] = slot;
        }

        void leave(Probe const& probed) const {
            for (std::uint32_t at = home(probed.hash); &buckets[at] != probed.bucket;
                 at = after(at)) {
                --buckets[at].passed;
            }
            probed.bucket->tag[probed.place] = 0;
        }

        // The same members with a fresh index and one more chunk.
        template <class Hasher>
        Store grown(Hasher const& hash) const {
            if (chunks == maxChunks) {
                throw std::length_error("Zin::HashMap2018 is full");
            }
            Store that = *this;
            that.allocate();
            for (Slot slot = first; slot != 0; slot = links(slot).next) {
                that.enter(hash(member(slot).key), slot);
            }
            return that;
        }

        void allocate() {
            std::size_t const bucketsThen = std::size_t{1} << (chunks < 3 ? 0 : chunks - 2);
            std::size_t const slots = chunkSize(chunks);
            std::size_t const linksSize =
                (slots * sizeof(Links) + alignof(Member) - 1) / alignof(Member) * alignof(Member);
            void* const chunk = ::operator new(linksSize + slots * sizeof(Member), chunkAlignment);
            void* index = nullptr;
            try {
                index =
                    ::operator new(bucketsThen * sizeof(HashBucket) + (chunks + 1) * sizeof(Chunk),
                                   indexAlignment);
            } catch (...) {
                ::operator delete(chunk, chunkAlignment);
                throw;
            }
            fresh = chunkBase(chunks);
            freshEnd = fresh + chunkSize(chunks);
            buckets = static_cast<HashBucket*>(index);
            std::uninitialized_value_construct_n(buckets, bucketsThen);
            auto* const table = reinterpret_cast<Chunk*>(buckets + bucketsThen);
            std::uninitialized_copy_n(chunkTable, chunks, table);
            auto const address = reinterpret_cast<std::uintptr_t>(chunk);
            std::construct_at(table + chunks,
                              Chunk{address + linksSize - std::uintptr_t{fresh} * sizeof(Member),
                                    address - std::uintptr_t{fresh} * sizeof(Links)});
            chunkTable = table;
            mask = static_cast<std::uint32_t>(bucketsThen - 1);
            shift = 32 - static_cast<std::uint32_t>(std::countr_zero(bucketsThen));
            ++chunks;
        }

        void releaseIndex() const {
            if (chunks > 0) {
                ::operator delete(buckets, indexAlignment);
            }
        }
        void release() const {
            for (unsigned chunk = 0; chunk < chunks; ++chunk) {
                ::operator delete(&links(chunkBase(chunk)), chunkAlignment);
            }
            releaseIndex();
        }
    };

    // The index of all maps without memory: nothing is in it, and nothing is ever put there.
    static inline constinit HashBucket noBucket{};

    // For Walk.
    static Position nowhere() { return 0; }
    Position after(Position at) const { return at == 0 ? store_.first : store_.links(at).next; }
    Member& memberAt(Position at) const { return store_.member(at); }

    static ValueOrNone* valueOf(Probe const& probed) {
        return probed.member == nullptr ? nullptr : &probed.member->value;
    }
    static Slot slotOf(Probe const& probed) {
        return probed.member == nullptr ? 0 : probed.bucket->slot[probed.place];
    }

    Probe probe(Key const& key) const {
        std::uint32_t const hash = hash_(key);
        std::uint8_t const tag = HashBucket::tagOf(hash);
        std::uint32_t const home = store_.home(hash);
        std::uint32_t at = home;
        do {
            HashBucket& bucket = store_.buckets[at];
            for (unsigned left = bucket.match(tag); left != 0; left &= left - 1) {
                auto const place = static_cast<unsigned>(std::countr_zero(left));
                Member& member = store_.member(bucket.slot[place]);
                if (member.key == key) {
                    return {&member, &bucket, place, hash};
                }
            }
            if (bucket.passed == 0) {
                break;
            }
            at = store_.after(at);
        } while (at != home);
        return {nullptr, nullptr, 0, hash};
    }

    template <class... Args>
    Member& add(std::uint32_t hash, Key const& key, Args&&... args) {
        if (store_.free == 0 && store_.fresh == store_.freshEnd) {
            Store const grown = store_.grown(hash_);
            store_.releaseIndex();
            store_ = grown;
        }
        bool const fresh = store_.free == 0;
        Slot const slot = fresh ? store_.fresh : store_.free;
        Member* const member =
            std::construct_at(&store_.member(slot), key, std::forward<Args>(args)...);

        // Nothing throws from here on.
        Links& links = store_.links(slot);
        if (fresh) {
            std::construct_at(&links);
            ++store_.fresh;
        } else {
            store_.free = links.next;
        }
        links = {store_.last, 0};
        (store_.last == 0 ? store_.first : store_.links(store_.last).next) = slot;
        store_.last = slot;
        store_.enter(hash, slot);
        ++store_.size;
        return *member;
    }

    void remove(Probe const& probed) {
        Slot const slot = slotOf(probed);
        Links& links = store_.links(slot);
        walks_.handleGone(slot, links.previous);
        store_.leave(probed);
        (links.previous == 0 ? store_.first : store_.links(links.previous).next) = links.next;
        (links.next == 0 ? store_.last : store_.links(links.next).previous) = links.previous;
        std::destroy_at(probed.member);
        links.next = store_.free;
        store_.free = slot;
        if (--store_.size == 0 && store_.chunks > 3) {
            std::exchange(store_, Store{}).release();
        }
    }

    Store store_;
    [[no_unique_address]] Hash hash_;
    mutable Walks<Position> walks_;
};

template <class Key, class Hash = KeyHash<Key>>
using HashSet2018 = HashMap2018<Key, void, Hash>;

}  // namespace Zin
