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
//   must not change the map, nor must destroying a key or what is left of a value that was moved;
//   hashing and comparing keys must not throw.
// - A map that never was to have a member, or that was cleared or emptied of more than a few, owns
//   no memory.
//
// A few members are found by looking at each; more, by an index of their places by the upper bits
// of their hashes (Zin/HashIndex.h). Memory comes and goes a bounded piece at a time, and a change
// moves a bounded number of the index' entries: no change is long, however large the map is.
//
// A map may know its members' keys from their values (KeyOf), as a row's: then it holds the values
// alone. What such a map shows of a member is made for whoever looks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "Zin/HashIndex.h"
#include "Zin/MapMember.h"
#include "Zin/Slots.h"
#include "Zin/Walk.h"

namespace Zin {

// The hasher of keys that hash themselves.
template <class Key>
struct KeyHash {
    std::uint32_t seed;  // the map's
    std::uint32_t operator()(Key const& key) const { return key.hash(seed); }
};

// What a map keeps of each member for an index of its members; nothing where there is none.
struct NothingPerMember {};

// Hash is made from the 32-bit seed (braces) and returns 32 well mixed bits.
template <class Key, class Value, class Hash = KeyHash<Key>, class KeyOf = void,
          class PerMember = NothingPerMember>
class HashMap2018 {
    static constexpr bool hasValues = !std::is_void_v<Value>;
    using ValueOrNone = std::conditional_t<hasValues, Value, std::nullptr_t>;
    using Held = HeldMember<Key, Value, KeyOf>;

public:
    // What a member is, what walks show of it, and the walks.
    using Member = typename Held::Member;
    using Shown = typename Held::Shown;
    using ShownConst = typename Held::ShownConst;
    using Iterator = Walk<HashMap2018>;
    using ConstIterator = Walk<HashMap2018 const>;
    // The same map that keeps something for an index of each member.
    template <class Kept>
    using Keeping = HashMap2018<Key, Value, Hash, KeyOf, Kept>;
    // What stands under the key now.
    struct Emplaced {
        ValueOrNone& value;  // valid until its member goes
        bool inserted;       // false where the key was there before
    };
    // Where it stands.
    struct Entered {
        Slot place;     // valid until the member goes
        bool inserted;  // false where the key was there before
    };

    // The owner passes hashSeed() XOR a salt of its own.
    explicit HashMap2018(std::uint32_t seed) : hash_{seed} {}
    HashMap2018(HashMap2018 const&) = delete;
    HashMap2018& operator=(HashMap2018 const&) = delete;
    ~HashMap2018() {
        while (!empty()) {  // again if a dying value has inserted another
            clear();
        }
    }

    // How many members there are, whether there is none, and whether one is under the key.
    std::uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    bool contains(Key const& key) const { return probe(key).slot != 0; }

    // The value under the key, null if there is none.
    ValueOrNone* find(Key const& key) requires hasValues { return valueOf(probe(key)); }
    ValueOrNone const* find(Key const& key) const requires hasValues { return valueOf(probe(key)); }

    // Unless there is a member under the key, makes one of Value(args...).
    template <class... Args>
    Emplaced emplace(Key const& key, Args&&... args) requires hasValues {
        auto const [place, inserted] = enter(key, std::forward<Args>(args)...);
        return {nodes_[place].held.value, inserted};
    }
    // The same, for a collection of the members.
    template <class... Args>
    Entered enter(Key const& key, Args&&... args) {
        bool const staysFew = index_.empty() && size_ < few;
        return enterHashed({key, staysFew ? 0 : hash_(key)}, std::forward<Args>(args)...);
    }
    // For who seeks a key and then enters it: hashes it once.
    struct HashedKey {
        Key const& key;      // borrowed
        std::uint32_t hash;  // with the map's seed
    };
    // As find() and enter() do.
    HashedKey hashed(Key const& key) const { return {key, hash_(key)}; }
    ValueOrNone const* findHashed(HashedKey const& key) const requires hasValues {
        return valueOf(probe(key));
    }
    template <class... Args>
    Entered enterHashed(HashedKey const& key, Args&&... args) {
        if (Probe const probed = probe(key); probed.slot != 0) {
            return {probed.slot, false};
        }
        return {add(key, std::forward<Args>(args)...), true};
    }
    // The value of the member at a place that enter() gave.
    ValueOrNone& valueAt(Slot place) requires hasValues { return nodes_[place].held.value; }

    // Whether the key was new, and now is not.
    bool insert(Key const& key) requires(!hasValues) { return enter(key).inserted; }

    // Whether there was a member under the key. `before` is called with its place while it is
    // there.
    template <class Before = Nothing>
    bool erase(Key const& key, Before const& before = {}) {
        Probe const probed = probe(key);
        if (probed.slot == 0) {
            return false;
        }
        before(probed.slot);
        if constexpr (hasValues) {
            [[maybe_unused]] Value const last = remove(probed);
        } else {
            remove(probed);
        }
        return true;
    }

    // Moves the value under the key out of the map; Value() if there is none. As erase() does, it
    // calls `before`.
    template <class Before = Nothing>
    ValueOrNone take(Key const& key, Before const& before = {}) requires hasValues {
        Probe const probed = probe(key);
        if (probed.slot == 0) {
            return ValueOrNone{};
        }
        before(probed.slot);
        return remove(probed);
    }

    // The map is empty before the first value goes; values go in the order of their insertion.
    void clear() {
        Nodes const gone = std::exchange(nodes_, {});
        Slot slot = std::exchange(first_, 0);
        last_ = 0;
        size_ = 0;
        index_.release();
        walks_.handleAllGone([](Position) { return nowhere(); });
        if constexpr (!std::is_trivially_destructible_v<Held>) {
            while (slot != 0) {
                Node& node = gone[slot];
                slot = node.next;
                node.held.~Held();
            }
        }
    }

    // A walk that starts at the first member, and the end of every walk.
    Iterator begin() { return Iterator(*this, first_); }
    ConstIterator begin() const { return ConstIterator(*this, first_); }
    Iterator end() { return {}; }
    ConstIterator end() const { return {}; }
    // A walk that starts at the last member; at its end where the map is empty.
    ConstIterator last() const { return ConstIterator(*this, last_); }
    // A walk that starts at the key; at its end if there is no such member.
    Iterator from(Key const& key) { return Iterator(*this, slotOf(key)); }
    ConstIterator from(Key const& key) const { return ConstIterator(*this, slotOf(key)); }

    // Where the key stands in the order of a scan: it depends on the seed and the key alone, and
    // where names of interfaces are in the key, on that somebody has them all the time.
    std::uint32_t hashOf(Key const& key) const { return hash_(key); }
    static constexpr std::uint64_t scanEnd = std::uint64_t{1} << 32;
    // Calls `each` with the members, some few, whose hashes are at least `from` and less than what
    // is returned, from where the next call goes on. So from 0 to scanEnd each member that stands
    // throughout is met once, whatever comes and goes between calls, and nothing is kept of the
    // scan but a number. `each` does not change the map.
    template <class Each>
    std::uint64_t scan(std::uint64_t from, Each const& each) const {
        if (index_.empty()) {
            for (Slot slot = first_; slot != 0; slot = nodes_[slot].next) {
                if (hashAt(slot) >= from) {
                    each(memberAt(slot));
                }
            }
            return scanEnd;
        }
        return index_.scan(static_cast<std::uint32_t>(from),
                           [&](Slot slot) { each(memberAt(slot)); });
    }

    // For an index of the members: the number of a member's place, which is its as long as it
    // stays and 0 for none; the member there; and what the index keeps of it.
    Slot slotOf(Key const& key) const { return probe(key).slot; }
    ShownConst memberAt(Slot slot) const { return std::as_const(nodes_[slot].held).show(); }
    Shown memberAt(Slot slot) { return nodes_[slot].held.show(); }
    PerMember& keptAt(Slot slot) const { return nodes_[slot].kept; }

private:
    template <class>
    friend class Zin::Walk;

    using Position = Slot;

    // A member between those that came before and after it.
    struct Node {
        Slot previous;
        Slot next;
        [[no_unique_address]] PerMember kept{};
        Held held;
    };
    using Nodes = Slots<Node>;

    // Where a key is; its slot is 0 if it is absent, and then only the hash counts, where there is
    // an index.
    struct Probe : HashIndex::Place {
        std::uint32_t hash = 0;
    };

    // So many members need no index.
    static constexpr std::uint32_t few = 8;

    // For Walk.
    static Position nowhere() { return 0; }
    Position after(Position at) const { return at == 0 ? first_ : nodes_[at].next; }

    ValueOrNone* valueOf(Probe const& probed) const {
        return probed.slot == 0 ? nullptr : &nodes_[probed.slot].held.value;
    }
    std::uint32_t hashAt(Slot slot) const { return hash_(nodes_[slot].held.key()); }

    Probe probe(Key const& key) const {
        return probe(HashedKey{key, index_.empty() ? 0 : hash_(key)});
    }
    Probe probe(HashedKey const& sought) const {
        auto const isSought = [this, &sought](Slot slot) {
            return nodes_[slot].held.key() == sought.key;
        };
        if (index_.empty()) {
            Slot slot = first_;
            while (slot != 0 && !isSought(slot)) {
                slot = nodes_[slot].next;
            }
            return {{slot, nullptr, 0}, 0};
        }
        return {index_.find(sought.hash, isSought), sought.hash};
    }

    template <class... Args>
    Slot add(HashedKey const& hashed, Args&&... args) {
        auto const& [key, hash] = hashed;
        bool const indexed = !index_.empty() || size_ == few;
        // Memory comes first: a value that has been made stays.
        if (indexed) {
            if (index_.empty()) {
                beginIndex();
            }
            index_.makeRoom(hash, size_ + 1);
        }
        Slot const slot = nodes_.take();
        Node& node = nodes_[slot];
        try {
            ::new (static_cast<void*>(&node.held)) Held(key, std::forward<Args>(args)...);
        } catch (...) {
            nodes_.give(slot);
            throw;
        }

        // Nothing throws from here on.
        std::construct_at(&node.kept);
        node.previous = last_;
        node.next = 0;
        (last_ == 0 ? first_ : nodes_[last_].next) = slot;
        last_ = slot;
        if (indexed) {
            index_.enter(hash, slot);
        }
        ++size_;
        return slot;
    }
    void beginIndex() {
        HashIndex index;
        std::uint32_t size = 0;
        for (Slot slot = first_; slot != 0; slot = nodes_[slot].next) {
            std::uint32_t const hash = hashAt(slot);
            index.makeRoom(hash, ++size);
            index.enter(hash, slot);
        }
        index_ = std::move(index);
    }

    // Returns the value, where there are values.
    auto remove(Probe const& probed) {
        Node& node = nodes_[probed.slot];
        walks_.handleGone(probed.slot, node.previous);
        if (probed.bucket != nullptr) {
            index_.leave(probed.hash, probed);
        }
        (node.previous == 0 ? first_ : nodes_[node.previous].next) = node.next;
        (node.next == 0 ? last_ : nodes_[node.next].previous) = node.previous;
        --size_;
        if (probed.bucket != nullptr) {
            index_.handleLeft(size_);
        }
        if constexpr (hasValues) {
            Value value(std::move(node.held.value));
            node.held.~Held();
            nodes_.give(probed.slot);
            return value;
        } else {
            node.held.~Held();
            nodes_.give(probed.slot);
        }
    }

    Nodes nodes_;
    HashIndex index_;
    Slot first_ = 0;
    Slot last_ = 0;
    std::uint32_t size_ = 0;
    [[no_unique_address]] Hash hash_;
    mutable Walks<Position> walks_;
};

// A map without values.
template <class Key, class Hash = KeyHash<Key>>
using HashSet2018 = HashMap2018<Key, void, Hash>;

}  // namespace Zin
