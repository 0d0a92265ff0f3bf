// RbTreeMap: members found by key and walked in ascending order of their keys' operator<.
//
// - A member stands at the same address from its insertion to its removal.
// - Walks (begin()) live through every change, see Zin/Walk.h; they never turn back: from a gap a
//   walk goes on to the next greater key there is by then.
// - A value is out of the map before it is destroyed, and the map is whole by then: the destruction
//   may look into the map, change it or destroy it. It must not throw; a Zin::Ptr does not,
//   whatever fails in the teardown that it sets off (see there).
// - What throws (memory, copying a key, making a value) leaves the map as it was. Making a value
//   must not change the map.
#pragma once

#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "Zin/MapMember.h"
#include "Zin/Walk.h"

namespace Zin {

template <class Key, class Value>
class RbTreeMap {
public:
    using Member = MapMember<Key, Value>;
    using Shown = Member&;
    using ShownConst = Member const&;
    using Iterator = Walk<RbTreeMap>;
    using ConstIterator = Walk<RbTreeMap const>;
    struct Emplaced {
        Value& value;
        bool inserted;
    };

    RbTreeMap() = default;
    RbTreeMap(RbTreeMap const&) = delete;
    RbTreeMap& operator=(RbTreeMap const&) = delete;
    ~RbTreeMap() {
        while (!empty()) {  // again if a dying value has inserted another
            clear();
        }
    }

    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(tree_.size()); }
    bool empty() const noexcept { return tree_.empty(); }
    bool contains(Key const& key) const { return tree_.contains(key); }

    // The value under the key, null if there is none.
    Value* find(Key const& key) { return valueOf(tree_.find(key)); }
    Value const* find(Key const& key) const { return valueOf(tree_.find(key)); }

    // Unless there is a member under the key, makes one of Value(args...).
    template <class... Args>
    Emplaced emplace(Key const& key, Args&&... args) {
        auto const [place, inserted] = enter(key, std::forward<Args>(args)...);
        return {memberAt(place).value, inserted};
    }
    // The same, for an index of the members.
    template <class... Args>
    auto enter(Key const& key, Args&&... args) {
        At at = tree_.lower_bound(key);
        bool const isNew = at == tree_.end() || key < at->key;
        if (isNew) {
            at = tree_.emplace_hint(at, key, std::forward<Args>(args)...);
        }
        return Entered{at, isNew};
    }
    template <class Place>
    static Value& valueAt(Place const& place) {
        return memberAt(place).value;
    }

    // Whether there was a member under the key. `before` is called while it is there.
    template <class Before = Nothing>
    bool erase(Key const& key, Before const& before = {}) {
        At const at = tree_.find(key);
        if (at == tree_.end()) {
            return false;
        }
        before(at);
        leave(at);
        [[maybe_unused]] Value const last(std::move(memberAt(at).value));
        tree_.erase(at);
        return true;
    }

    // Moves the value under the key out of the map; Value() if there is none. As erase() does, it
    // calls `before`.
    template <class Before = Nothing>
    Value take(Key const& key, Before const& before = {}) {
        Value taken{};
        At const at = tree_.find(key);
        if (at != tree_.end()) {
            before(at);
            leave(at);
            taken = std::move(memberAt(at).value);
            tree_.erase(at);
        }
        return taken;
    }

    // The map is empty before the first value goes; values go in the order of their keys.
    void clear() {
        walks_.handleAllGone([this](Position const& at) { return gapAt(at); });
        Tree gone;
        gone.swap(tree_);
        while (!gone.empty()) {
            gone.erase(gone.begin());
        }
    }

    Iterator begin() { return Iterator(*this, {tree_.begin(), {}}); }
    ConstIterator begin() const { return ConstIterator(*this, {tree_.begin(), {}}); }
    // A walk that starts at the last member; at its end where the map is empty.
    ConstIterator last() const {
        return ConstIterator(*this, {empty() ? tree_.end() : std::prev(tree_.end()), {}});
    }
    Iterator end() { return {}; }
    ConstIterator end() const { return {}; }

private:
    template <class>
    friend class Zin::Walk;

    struct Less {
        using is_transparent = void;
        bool operator()(Member const& a, Member const& b) const { return a.key < b.key; }
        bool operator()(Member const& a, Key const& b) const { return a.key < b; }
        bool operator()(Key const& a, Member const& b) const { return a < b.key; }
    };
    using Tree = std::set<Member, Less>;
    using At = typename Tree::const_iterator;

    // At a member, or (`at` is the end) where the member stood whose key is `gone`, or nowhere.
    struct Entered {
        At place;
        bool inserted;
    };
    struct Position {
        At at{};
        std::optional<Key> gone;
        bool operator==(Position const& that) const { return at == that.at; }
    };

    // For Walk.
    Position nowhere() const { return {tree_.end(), {}}; }
    Position after(Position const& position) const {
        if (position.gone) {
            return {tree_.upper_bound(*position.gone), {}};
        }
        return {position.at == tree_.end() ? tree_.begin() : std::next(position.at), {}};
    }
    static Member& memberAt(Position const& position) { return memberAt(position.at); }
    // The tree guards the order of its members, which their values have no part in.
    static Member& memberAt(At at) { return const_cast<Member&>(*at); }

    Value* valueOf(At at) const { return at == tree_.end() ? nullptr : &memberAt(at).value; }

    // Moves walks off a member that is about to be erased.
    void leave(At at) {
        if (walks_.any()) {
            walks_.handleGone({at, {}}, gapAt({at, {}}));
        }
    }
    // What is left at the position when the member there has gone.
    Position gapAt(Position const& position) const {
        return position.at == tree_.end() ? position : Position{tree_.end(), position.at->key};
    }

    Tree tree_;
    mutable Walks<Position> walks_;
};

}  // namespace Zin
