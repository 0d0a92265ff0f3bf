// RbTreeMap: members found by key and walked in ascending order of their keys' operator<.
//
// - A member stands at the same address from its insertion to its removal.
// - Walks (begin()) live through every change, see Zin/Walk.h; they never turn back: from a gap a
//   walk goes on to the next greater key there is by then.
// - A value is out of the map before it is destroyed, and the map is whole by then: the destruction
//   may look into the map, change it or destroy it. It must not throw; a Zin::Ptr does not,
//   whatever fails in the teardown that it sets off (see there).
// - What throws (memory, copying a key, making a value) leaves the map as it was; where the key of
//   a member with several walks cannot be copied, some of them have gone on. Making a value must
//   not change the map, nor must destroying a key or what is left of a value that was moved.
//
// The members are linked in their order. A few are found by looking at one after the other; more,
// by a tree of their places.
//
// A map may know its members' keys from their values (KeyOf, see Zin/MapMember.h).
#pragma once

#include <cstdint>
#include <new>
#include <optional>
#include <set>
#include <type_traits>
#include <utility>

#include "Zin/MapMember.h"
#include "Zin/Slots.h"
#include "Zin/Walk.h"

namespace Zin {

template <class Key, class Value, class KeyOf = void>
class RbTreeMap {
    using Held = HeldMember<Key, Value, KeyOf>;

public:
    // What a member is, what walks show of it, and the walks.
    using Member = typename Held::Member;
    using Shown = typename Held::Shown;
    using ShownConst = typename Held::ShownConst;
    using Iterator = Walk<RbTreeMap>;
    using ConstIterator = Walk<RbTreeMap const>;
    // What stands under the key now.
    struct Emplaced {
        Value& value;   // valid until its member goes
        bool inserted;  // false where the key was there before
    };
    // Where it stands.
    struct Entered {
        Slot place;     // valid until the member goes
        bool inserted;  // false where the key was there before
    };

    RbTreeMap() = default;
    RbTreeMap(RbTreeMap const&) = delete;
    RbTreeMap& operator=(RbTreeMap const&) = delete;
    ~RbTreeMap() {
        while (!empty()) {  // again if a dying value has inserted another
            clear();
        }
    }

    // How many members there are, whether there is none, and whether one is under the key.
    std::uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    bool contains(Key const& key) const { return placeOf(key) != 0; }

    // The value under the key, null if there is none.
    Value* find(Key const& key) { return valueOf(placeOf(key)); }
    Value const* find(Key const& key) const { return valueOf(placeOf(key)); }

    // Unless there is a member under the key, makes one of Value(args...).
    template <class... Args>
    Emplaced emplace(Key const& key, Args&&... args) {
        auto const [place, inserted] = enter(key, std::forward<Args>(args)...);
        return {valueAt(place), inserted};
    }
    // The same, for an index of the members.
    template <class... Args>
    Entered enter(Key const& key, Args&&... args) {
        Slot const next = lowerBound(key);
        if (next != 0 && !(key < keyAt(next))) {
            return {next, false};
        }
        return {add(next, key, std::forward<Args>(args)...), true};
    }
    // The value of the member at a place that enter() gave.
    Value& valueAt(Slot place) { return nodes_[place].held.value; }

    // Whether there was a member under the key. `before` is called with its place while it is
    // there.
    template <class Before = Nothing>
    bool erase(Key const& key, Before const& before = {}) {
        Slot const place = placeOf(key);
        if (place == 0) {
            return false;
        }
        before(place);
        [[maybe_unused]] Value const last = remove(place);
        return true;
    }

    // Moves the value under the key out of the map; Value() if there is none. As erase() does, it
    // calls `before`.
    template <class Before = Nothing>
    Value take(Key const& key, Before const& before = {}) {
        Slot const place = placeOf(key);
        if (place == 0) {
            return Value{};
        }
        before(place);
        return remove(place);
    }

    // The map is empty before the first value goes; values go in the order of their keys.
    void clear() {
        walks_.handleAllGone([this](Position const& at) { return gapAt(at); });
        endTree();
        Nodes const gone = std::exchange(nodes_, {});
        Slot place = std::exchange(first_, 0);
        last_ = 0;
        size_ = 0;
        while (place != 0) {
            Node& node = gone[place];
            place = node.next;
            node.held.~Held();
        }
    }

    // A walk that starts at the first member.
    Iterator begin() { return Iterator(*this, {first_, {}}); }
    ConstIterator begin() const { return ConstIterator(*this, {first_, {}}); }
    // A walk that starts at the last member; at its end where the map is empty.
    ConstIterator last() const { return ConstIterator(*this, {last_, {}}); }
    // The end of every walk.
    Iterator end() { return {}; }
    ConstIterator end() const { return {}; }

private:
    template <class>
    friend class Zin::Walk;

    // A member between those with the next smaller and the next greater key.
    struct Node {
        Slot previous;
        Slot next;
        Held held;
    };
    using Nodes = Slots<Node>;

    struct Less {
        using is_transparent = void;
        Nodes const& nodes;

        Key const& keyOf(Slot slot) const { return nodes[slot].held.key(); }
        bool operator()(Slot a, Slot b) const { return keyOf(a) < keyOf(b); }
        bool operator()(Slot a, Key const& b) const { return keyOf(a) < b; }
        bool operator()(Key const& a, Slot b) const { return a < keyOf(b); }
    };
    using Tree = std::set<Slot, Less>;

    // So many members need no tree.
    static constexpr std::uint32_t few = 16;

    // At a member, or (`at` is 0) where the member stood whose key is `gone`, or nowhere.
    struct Position {
        Slot at = 0;
        std::optional<Key> gone;
        bool operator==(Position const& that) const { return at == that.at; }
    };

    // For Walk.
    static Position nowhere() { return {}; }
    Position after(Position const& position) const {
        if (position.gone) {
            return {upperBound(*position.gone), {}};
        }
        return {position.at == 0 ? first_ : nodes_[position.at].next, {}};
    }
    Shown memberAt(Position const& position) { return nodes_[position.at].held.show(); }
    ShownConst memberAt(Position const& position) const {
        return std::as_const(nodes_[position.at].held).show();
    }

    Key const& keyAt(Slot place) const { return nodes_[place].held.key(); }
    Value* valueOf(Slot place) const { return place == 0 ? nullptr : &nodes_[place].held.value; }
    Slot placeOf(Key const& key) const {
        Slot const place = lowerBound(key);
        return place != 0 && !(key < keyAt(place)) ? place : 0;
    }
    // The first place whose key is not less than this one, or is greater; 0 if there is none.
    Slot lowerBound(Key const& key) const {
        return firstFrom([&](Slot place) { return !(keyAt(place) < key); },
                         [&](Tree const& tree) { return tree.lower_bound(key); });
    }
    Slot upperBound(Key const& key) const {
        return firstFrom([&](Slot place) { return key < keyAt(place); },
                         [&](Tree const& tree) { return tree.upper_bound(key); });
    }
    template <class IsBehind, class Seek>
    Slot firstFrom(IsBehind const& isBehind, Seek const& seek) const {
        if (last_ == 0 || !isBehind(last_)) {
            return 0;  // what comes in the order of its keys is put at the end
        }
        if (tree_) {
            return *seek(*tree_);
        }
        Slot place = first_;
        while (!isBehind(place)) {
            place = nodes_[place].next;
        }
        return place;
    }

    // In front of `next`; behind all if that is 0.
    template <class... Args>
    Slot add(Slot next, Key const& key, Args&&... args) {
        Slot const place = nodes_.take();
        Node& node = nodes_[place];
        bool made = false;
        try {
            ::new (static_cast<void*>(&node.held)) Held(key, std::forward<Args>(args)...);
            made = true;
            if (tree_) {
                tree_->insert(place);
            } else if (size_ == few) {
                beginTree(place);
            }
        } catch (...) {
            // The value goes when its place is free again.
            std::optional<Value> unplaced;
            if (made) {
                unplaced.emplace(std::move(node.held.value));
                node.held.~Held();
            }
            nodes_.give(place);
            throw;
        }

        // Nothing throws from here on.
        Slot const previous = next == 0 ? last_ : nodes_[next].previous;
        node.previous = previous;
        node.next = next;
        (previous == 0 ? first_ : nodes_[previous].next) = place;
        (next == 0 ? last_ : nodes_[next].previous) = place;
        ++size_;
        return place;
    }
    void beginTree(Slot added) {
        Tree tree(Less{nodes_});
        for (Slot place = first_; place != 0; place = nodes_[place].next) {
            tree.insert(tree.end(), place);
        }
        tree.insert(added);
        tree_ = new Tree(std::move(tree));
    }

    void endTree() noexcept { delete std::exchange(tree_, nullptr); }

    Value remove(Slot place) {
        if (walks_.any()) {
            walks_.handleGone({place, {}}, gapAt({place, {}}));
        }
        if (size_ == 1) {
            endTree();
        } else if (tree_) {
            tree_->erase(place);
        }
        Node& node = nodes_[place];
        (node.previous == 0 ? first_ : nodes_[node.previous].next) = node.next;
        (node.next == 0 ? last_ : nodes_[node.next].previous) = node.previous;
        --size_;
        Value value(std::move(node.held.value));
        node.held.~Held();
        nodes_.give(place);
        return value;
    }
    // What is left at the position when the member there has gone.
    Position gapAt(Position const& position) const {
        return position.at == 0 ? position : Position{0, keyAt(position.at)};
    }

    Nodes nodes_;
    Slot first_ = 0;
    Slot last_ = 0;
    std::uint32_t size_ = 0;
    Tree* tree_ = nullptr;  // owned
    mutable Walks<Position> walks_;
};

}  // namespace Zin
