// A member of a map: the key under which it stands, and its value (sets have none).
//
// A map that knows its members' keys from their values (KeyOf, a callable made by its default
// constructor) holds the values alone. It shows its members as views, which are made for whoever
// looks: the key is read from the value, and is there for as long as that is, which may be replaced
// while the member stays.
#pragma once

#include <utility>

namespace Zin {

template <class Key, class Value>
struct MapMember {
    // The value is made of `args`.
    template <class... Args>
    explicit MapMember(Key const& itsKey, Args&&... args)
        : key(itsKey), value(std::forward<Args>(args)...) {}
    MapMember(MapMember const&) = delete;
    MapMember& operator=(MapMember const&) = delete;

    // At the same address for as long as the member stays.
    Key const key;
    Value value;
};

// A member of a set.
template <class Key>
struct MapMember<Key, void> {
    explicit MapMember(Key const& itsKey) : key(itsKey) {}
    MapMember(MapMember const&) = delete;
    MapMember& operator=(MapMember const&) = delete;

    // At the same address for as long as the member stays.
    Key const key;
};

// A member whose key is read from its value; const where the map is.
template <class Key, class Value>
struct MapMemberView {
    // Valid for as long as the value stays.
    Key const& key;
    Value& value;

    // For walks, which point at a view by itself.
    MapMemberView const* operator->() const { return this; }
};

// The key of a value that stands under itself.
struct Itself {
    // Valid for as long as the value is.
    template <class Value>
    Value const& operator()(Value const& value) const {
        return value;
    }
};

// For who has nothing to do before a member goes.
struct Nothing {
    // Does nothing.
    template <class Place>
    void operator()(Place const&) const {}
};

// What a map holds of a member, and how it shows that. Internal to the maps.
template <class Key, class Value, class KeyOf>
struct HeldMember {
    using Member = MapMemberView<Key, Value const>;
    using Shown = MapMemberView<Key, Value>;
    using ShownConst = Member;

    template <class... Args>
    explicit HeldMember(Key const&, Args&&... args) : value(std::forward<Args>(args)...) {}

    Key const& key() const { return KeyOf()(value); }
    Shown show() { return {key(), value}; }
    ShownConst show() const { return {key(), value}; }

    Value value;
};

template <class Key, class Value>
struct HeldMember<Key, Value, void> : MapMember<Key, Value> {
    using Member = MapMember<Key, Value>;
    using Shown = Member&;
    using ShownConst = Member const&;

    using Member::Member;

    Key const& key() const { return Member::key; }
    Shown show() { return *this; }
    ShownConst show() const { return *this; }
};

}  // namespace Zin
