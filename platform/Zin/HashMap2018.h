// HashMap2018: members found by key in constant time and walked in the order of their insertion.
// HashSet2018 is the same with keys alone.
//
// - A member stands at the same address from its insertion to its removal. A new value under an old
//   key keeps the member's place in the order; removing and inserting moves it to the end. The
//   order depends on neither hashes nor seed.
// - Walks (begin(), from()) live through every change, see Zin/Walk.h.
// - A value is out of the map before it is destroyed, and the map is whole by then: the destruction
//   may look into the map, change it or destroy it. Destroying values is a turn.
// - What throws (memory, copying a key, making a value) leaves the map as it was. Making a value
//   must not change the map.
// - An empty map that never had a member owns no memory; a map that becomes empty gives back all
//   but its smallest allocation.
//
//   index   [ hash | slot ] [  empty  ] [ hash | slot ] ...       power of two words, linear
//   probing
//                  |                           |
//   nodes   { previous, next, key, value } ...                    chunks that never move
//
// An index word carries the whole 32-bit hash, so only the member that is looked for is touched,
// and neither growth nor removal (which shifts words back, leaving no tombstones) touches members.
// Words stand in the order of their hashes' upper bits, which makes growth one forward sweep.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "Zin/Drop.h"
#include "Zin/MapMember.h"
#include "Zin/Turn.h"
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
    ~HashMap2018() noexcept(std::is_nothrow_destructible_v<Member>) {
        Turn turn;
        while (!empty()) {  // again if a dying value has inserted another
            clear();
        }
        release(store_);
    }

    std::uint32_t size() const noexcept { return store_.size; }
    bool empty() const noexcept { return store_.size == 0; }
    bool contains(Key const& key) const { return probe(key).node != nullptr; }

    // The value under the key, null if there is none.
    ValueOrNone* find(Key const& key) requires hasValues { return valueOf(probe(key).node); }
    ValueOrNone const* find(Key const& key) const requires hasValues {
        return valueOf(probe(key).node);
    }

    // Unless there is a member under the key, makes one of Value(args...).
    template <class... Args>
    Emplaced emplace(Key const& key, Args&&... args) requires hasValues {
        Probe const probed = probe(key);
        Node* const node =
            probed.node != nullptr ? probed.node : add(probed, key, std::forward<Args>(args)...);
        return {node->member.value, probed.node == nullptr};
    }

    // Whether the key was new, and now is not.
    bool insert(Key const& key) requires(!hasValues) {
        Probe const probed = probe(key);
        if (probed.node != nullptr) {
            return false;
        }
        add(probed, key);
        return true;
    }

    // Whether the key was new; if not, its former value goes.
    bool insertOrAssign(Key const& key, ValueOrNone value) requires hasValues {
        Probe const probed = probe(key);
        if (probed.node == nullptr) {
            add(probed, key, std::move(value));
            return true;
        }
        std::swap(probed.node->member.value, value);
        drop(std::move(value));
        return false;
    }

    // Whether there was a member under the key.
    bool erase(Key const& key) {
        Probe const probed = probe(key);
        if (probed.node == nullptr) {
            return false;
        }
        if constexpr (hasValues) {
            Value last(std::move(probed.node->member.value));
            remove(probed);
            drop(std::move(last));
        } else {
            remove(probed);
        }
        return true;
    }

    // Erases the member that the walk stands on; as every other walk that stands there it then is
    // in the gap, and goes on to the member that followed.
    void erase(Iterator const& walk) { erase(walk.position()->member.key); }

    // Moves the value under the key out of the map; Value() if there is none.
    ValueOrNone take(Key const& key) requires hasValues {
        ValueOrNone taken{};
        Probe const probed = probe(key);
        if (probed.node != nullptr) {
            taken = std::move(probed.node->member.value);
            remove(probed);
        }
        return taken;
    }

    // The map is empty before the first value goes; values go in the order of their insertion.
    void clear() {
        Store gone = std::exchange(store_, Store{});
        walks_.handleAllGone(nullptr);
        if constexpr (!std::is_trivially_destructible_v<Member>) {
            Turn turn;
            Node* node = gone.first();
            while (node != nullptr) {
                turn.run([node] { std::destroy_at(&node->member); });
                node = gone.node(node->next);
            }
            release(gone);
        } else {
            release(gone);
        }
    }

    Iterator begin() { return Iterator(*this, store_.first()); }
    ConstIterator begin() const { return ConstIterator(*this, store_.first()); }
    static std::default_sentinel_t end() { return std::default_sentinel; }
    // A walk that starts at the key; at its end if there is no such member.
    Iterator from(Key const& key) { return Iterator(*this, probe(key).node); }
    ConstIterator from(Key const& key) const { return ConstIterator(*this, probe(key).node); }

private:
    template <class>
    friend class Zin::Walk;

    struct Node {
        Node() {}   // NOLINT: the member is made and destroyed by the map
        ~Node() {}  // NOLINT
        // Slots; 0 for none. `next` also threads the free nodes.
        std::uint32_t previous;
        std::uint32_t next;
        union {
            Member member;
        };
    };
    using Word = std::uint64_t;
    using Position = Node*;

    // Where a key is, or where it would be: `at` is the index position, node null if absent.
    struct Probe {
        Node* node;
        std::uint32_t at;
        std::uint32_t hash;
    };

    // Slots name nodes in 32 bits. Chunk c holds those from 4 << c on; each growth adds the chunk
    // that fills the doubled index to three quarters, so running out of slots is the one reason to
    // grow. The chunks' addresses stand in front of the index, each less what its first slot's
    // number makes of it, so that a slot is found by one load.
    struct Store {
        static constexpr unsigned firstBits = 2;

        Word* index = &noWords;
        std::uint32_t mask = 0;
        std::uint32_t shift = 32;  // hash >> shift is its home in the index
        std::uint32_t size = 0;
        std::uint32_t firstSlot = 0;
        std::uint32_t lastSlot = 0;
        std::uint32_t freeSlot = 0;   // nodes that were used and are free again
        std::uint32_t freshSlot = 0;  // nodes of the last chunk that were never used
        std::uint32_t freshEnd = 0;

        static std::uint32_t chunkBase(unsigned chunk) { return 1u << (chunk + firstBits); }
        static std::uint32_t chunkSize(unsigned chunk) {
            return chunk == 0 ? 3u : 3u << (chunk - 1);
        }
        unsigned chunks() const { return shift == 32 ? 0u : 32u - shift - firstBits + 1u; }
        Word& chunkWord(unsigned chunk) const { return *(index - 1 - chunk); }

        Node* node(std::uint32_t slot) const {
            if (slot == 0) {
                return nullptr;
            }
            return nodeAt(slot);
        }
        Node* nodeAt(std::uint32_t slot) const {
            auto const chunk = static_cast<unsigned>(std::bit_width(slot)) - firstBits - 1;
            return reinterpret_cast<Node*>(
                static_cast<std::uintptr_t>(chunkWord(chunk) + Word{slot} * sizeof(Node)));
        }
        Node* first() const { return node(firstSlot); }
        std::uint32_t home(std::uint32_t hash) const {
            return static_cast<std::uint32_t>(std::uint64_t{hash} >> shift);
        }
    };

    // The index of all maps without memory: nothing is in it, and nothing is ever put there.
    static inline constinit Word noWords = 0;

    static std::uint32_t hashIn(Word word) { return static_cast<std::uint32_t>(word >> 32); }
    static std::uint32_t slotIn(Word word) { return static_cast<std::uint32_t>(word); }

    // For Walk.
    static Position nowhere() { return nullptr; }
    Position after(Position at) const {
        return store_.node(at == nullptr ? store_.firstSlot : at->next);
    }
    static Member& memberAt(Position at) { return at->member; }

    static ValueOrNone* valueOf(Node* node) {
        return node == nullptr ? nullptr : &node->member.value;
    }

    Probe probe(Key const& key) const {
        std::uint32_t const hash = hash_(key);
        std::uint32_t at = store_.home(hash);
        while (true) {
            Word const word = store_.index[at];
            if (word == 0) {
                return {nullptr, at, hash};
            }
            if (hashIn(word) == hash) {
                Node* const node = store_.nodeAt(slotIn(word));
                if (node->member.key == key) {
                    return {node, at, hash};
                }
            }
            at = (at + 1) & store_.mask;
        }
    }

    template <class... Args>
    Node* add(Probe probed, Key const& key, Args&&... args) {
        if (store_.freeSlot == 0 && store_.freshSlot == store_.freshEnd) {
            grow();
            probed.at = emptyFrom(store_, store_.home(probed.hash));
        }
        bool const fresh = store_.freeSlot == 0;
        std::uint32_t const slot = fresh ? store_.freshSlot : store_.freeSlot;
        Node* const node = store_.nodeAt(slot);
        if (fresh) {
            std::construct_at(node);
        }
        std::construct_at(&node->member, key, std::forward<Args>(args)...);

        // Nothing throws from here on.
        if (fresh) {
            ++store_.freshSlot;
        } else {
            store_.freeSlot = node->next;
        }
        store_.index[probed.at] = Word{probed.hash} << 32 | slot;
        node->previous = store_.lastSlot;
        node->next = 0;
        (store_.lastSlot == 0 ? store_.firstSlot : store_.nodeAt(store_.lastSlot)->next) = slot;
        store_.lastSlot = slot;
        ++store_.size;
        return node;
    }

    void remove(Probe probed) {
        Node* const node = probed.node;
        std::uint32_t const slot = slotIn(store_.index[probed.at]);
        removeWord(probed.at);
        walks_.handleGone(node, store_.node(node->previous));
        (node->previous == 0 ? store_.firstSlot : store_.nodeAt(node->previous)->next) = node->next;
        (node->next == 0 ? store_.lastSlot : store_.nodeAt(node->next)->previous) = node->previous;
        std::destroy_at(&node->member);
        node->next = store_.freeSlot;
        store_.freeSlot = slot;
        if (--store_.size == 0 && store_.chunks() > 1) {
            release(store_);
            store_ = Store{};
        }
    }

    // Moves back what stands behind the hole and would rather stand in it.
    void removeWord(std::uint32_t hole) {
        std::uint32_t at = hole;
        while (true) {
            at = (at + 1) & store_.mask;
            Word const word = store_.index[at];
            if (word == 0) {
                break;
            }
            std::uint32_t const home = store_.home(hashIn(word));
            if (((at - home) & store_.mask) >= ((at - hole) & store_.mask)) {
                store_.index[hole] = word;
                hole = at;
            }
        }
        store_.index[hole] = 0;
    }

    static std::uint32_t emptyFrom(Store const& store, std::uint32_t at) {
        while (store.index[at] != 0) {
            at = (at + 1) & store.mask;
        }
        return at;
    }

    // Doubles the index and adds the chunk that goes with it.
    void grow() {
        unsigned const chunk = store_.chunks();
        unsigned const bits = chunk + Store::firstBits;
        if (bits > 31) {
            throw std::length_error("Zin::HashMap2018 is full");
        }
        std::size_t const words = std::size_t{1} << bits;
        auto block = std::make_unique<Word[]>(chunk + 1 + words);  // all zero
        Node* const nodes = std::allocator<Node>().allocate(Store::chunkSize(chunk));

        Store grown = store_;
        grown.index = block.release() + chunk + 1;
        grown.mask = static_cast<std::uint32_t>(words - 1);
        grown.shift = 32 - bits;
        grown.freshSlot = Store::chunkBase(chunk);
        grown.freshEnd = grown.freshSlot + Store::chunkSize(chunk);
        for (unsigned old = 0; old < chunk; ++old) {
            grown.chunkWord(old) = store_.chunkWord(old);
        }
        grown.chunkWord(chunk) =
            reinterpret_cast<std::uintptr_t>(nodes) - Word{grown.freshSlot} * sizeof(Node);
        for (std::size_t at = 0; chunk > 0 && at <= store_.mask; ++at) {
            if (Word const word = store_.index[at]; word != 0) {
                grown.index[emptyFrom(grown, grown.home(hashIn(word)))] = word;
            }
        }
        if (chunk > 0) {
            delete[](store_.index - chunk);
        }
        store_ = grown;
    }

    static void release(Store const& store) {
        unsigned const chunks = store.chunks();
        for (unsigned chunk = 0; chunk < chunks; ++chunk) {
            std::allocator<Node>().deallocate(store.nodeAt(Store::chunkBase(chunk)),
                                              Store::chunkSize(chunk));
        }
        if (chunks > 0) {
            delete[](store.index - chunks);
        }
    }

    Store store_;
    [[no_unique_address]] Hash hash_;
    mutable Walks<Position> walks_;
};

template <class Key, class Hash = KeyHash<Key>>
using HashSet2018 = HashMap2018<Key, void, Hash>;

}  // namespace Zin
