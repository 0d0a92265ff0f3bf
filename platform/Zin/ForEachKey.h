// A machine's walk over one of its inputs: calls the per-key handler for every member, in the order
// of the collection, also for members that are added meanwhile. What one call throws keeps nobody
// from being handled: it is thrown at the end of the outermost turn.
#pragma once

#include "Zin/Turn.h"

namespace Zin {

// `handle` is called with a copy of each key, and may change the map.
template <class Map, class Handle>
void forEachKey(Map const& map, Handle&& handle) {
    Turn turn;
    for (auto const& member : map) {
        auto const key = member.key;
        turn.run([&] { handle(key); });
    }
}

}  // namespace Zin
