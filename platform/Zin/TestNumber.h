// For the tests of maps: a key that hashes well, and the keys of a map in the order of a walk.
#pragma once

#include <cstdint>
#include <vector>

namespace Zin {

struct TestNumber {
    int value = 0;
    bool operator==(TestNumber const&) const = default;
    std::uint32_t hash(std::uint32_t seed) const {
        std::uint32_t hash = (static_cast<std::uint32_t>(value) ^ seed) * 0x9e3779b1u;
        hash = (hash ^ hash >> 15) * 0x85ebca77u;
        return hash ^ hash >> 13;
    }
};

template <class SomeMap>
std::vector<int> keys(SomeMap& map) {
    std::vector<int> found;
    for (auto const& member : map) {
        found.push_back(member.key.value);
    }
    return found;
}

}  // namespace Zin
