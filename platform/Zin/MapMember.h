// A member of a map: the key under which it stands, and its value (sets have none).
#pragma once

#include <utility>

namespace Zin {

template <class Key, class Value>
struct MapMember {
    template <class... Args>
    explicit MapMember(Key const& itsKey, Args&&... args)
        : key(itsKey), value(std::forward<Args>(args)...) {}
    MapMember(MapMember const&) = delete;
    MapMember& operator=(MapMember const&) = delete;

    Key const key;
    Value value;
};

template <class Key>
struct MapMember<Key, void> {
    explicit MapMember(Key const& itsKey) : key(itsKey) {}
    MapMember(MapMember const&) = delete;
    MapMember& operator=(MapMember const&) = delete;

    Key const key;
};

}  // namespace Zin
