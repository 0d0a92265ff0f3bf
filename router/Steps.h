// Work that is done step by step: walks over collections, each member a step, which may leave other
// walks to do first. Between steps the collections may change.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

namespace Routing {

class Steps {
public:
    // Leaves a walk over the map to do, before what was left before; `alive` keeps the map.
    template <class Alive, class Map, class Check>
    void walk(Alive alive, Map const& map, Check check) {
        walkSome(std::move(alive), map, std::move(check), std::numeric_limits<std::size_t>::max());
    }
    // The same, for a map in which what comes stands behind the others: as many members as it has
    // now, which is all that stand throughout. What comes as fast as it is looked at keeps it from
    // its end no longer.
    template <class Alive, class Map, class Check>
    void walkPresent(Alive alive, Map const& map, Check check) {
        walkSome(std::move(alive), map, std::move(check), map.size());
    }

    // Returns whether there is more to do.
    bool step() {
        if (work_.empty()) {
            return false;
        }
        // What it leaves to do comes behind it, and does not move it.
        if (!work_.back()()) {
            work_.pop_back();
        }
        return !work_.empty();
    }

private:
    template <class Alive, class Map, class Check>
    void walkSome(Alive alive, Map const& map, Check check, std::size_t most) {
        // Between steps it stands on what was looked at last, which may leave meanwhile.
        work_.push_back([alive = std::move(alive), &map,
                         at = std::optional<typename Map::ConstIterator>(), left = most,
                         check = std::move(check)]() mutable {
            if (left-- == 0) {
                return false;
            }
            if (at) {
                ++*at;
            } else {
                at = map.begin();
            }
            if (*at == map.end()) {
                return false;
            }
            check(**at);
            return true;
        });
    }

    std::deque<std::function<bool()>> work_;
};

}  // namespace Routing
