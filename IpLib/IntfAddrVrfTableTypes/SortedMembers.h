// The members of a map in the order of their keys: dumps list by name what people look for by name.
#pragma once

#include <algorithm>
#include <vector>

namespace IpLib {

// Pointers that hold while the members stay in the map.
template <class Map>
std::vector<typename Map::Member const*> sortedMembers(Map const& map) {
    std::vector<typename Map::Member const*> members;
    members.reserve(map.size());
    for (auto const& member : map) {
        members.push_back(&member);
    }
    std::sort(members.begin(), members.end(),
              [](auto const* a, auto const* b) { return a->key < b->key; });
    return members;
}

}  // namespace IpLib
