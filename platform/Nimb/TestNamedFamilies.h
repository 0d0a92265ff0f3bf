// For the tests of hashes of what has an interface name. The hash of a name is its own for as long
// as it lives alone, so the members of a family live together, as they do in a collection.
#pragma once

#include <cstddef>
#include <vector>

#include "Zin/TestHashFamilies.h"

namespace Nimb {

template <std::size_t N, class KeyOf>
void expectNoCostlyNamedFamily(KeyOf const& keyOf) {
    using Key = decltype(keyOf(Zin::HashInput<N>{}));
    std::vector<Key> family;
    Zin::expectNoCostlyFamily<N>([&](auto const& input) -> Key const& {
        if (family.size() == Zin::hashFamilySize) {
            family.clear();
        }
        return family.emplace_back(keyOf(input));
    });
}

}  // namespace Nimb
