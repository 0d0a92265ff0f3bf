// Work that is done step by step: walks over collections, each member a step, which may leave other
// walks to do first. Between steps the collections may change.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <utility>

namespace Routing {

class Steps {
public:
    // Leaves a walk over the map to do, before what was left before; `alive` keeps the map.
    template <class Alive, class Map, class Check>
    void walk(Alive alive, Map const& map, Check check) {
        // Between steps it stands on what was looked at last, which may leave meanwhile.
        work_.push_back([alive = std::move(alive), &map,
                         at = std::optional<typename Map::ConstIterator>(),
                         check = std::move(check)]() mutable {
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
    std::deque<std::function<bool()>> work_;
};

}  // namespace Routing
