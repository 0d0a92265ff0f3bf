// Work that is done step by step: walks over collections, each member a step, which may leave other
// walks to do first. Between steps the collections may change.
#pragma once

#include <deque>
#include <functional>
#include <iterator>
#include <optional>
#include <utility>

namespace Routing {

class Steps {
public:
    // Leaves a walk over the map to do, before what was left before; `alive` keeps the map.
    template <class Alive, class Map, class Check>
    void walk(Alive alive, Map const& map, Check check) {
        // Between steps it stands on what was looked at last, which may leave meanwhile.
        work_.push_back(
            [alive = std::move(alive), &map, at = std::optional<typename Map::ConstIterator>(),
             check = std::move(check)]() mutable { return go(map, at, map.end(), check); });
    }
    // The same up to what is the last member now. In a map in which what comes stands behind the
    // others no member is looked at twice, though it goes and comes back; and what comes as fast as
    // it is looked at keeps no walk from its end.
    template <class Alive, class Map, class Check>
    void walkPresent(Alive alive, Map const& map, Check check) {
        if (map.empty()) {
            return;
        }
        work_.push_back([alive = std::move(alive), &map, last = map.last(),
                         at = std::optional<typename Map::ConstIterator>(),
                         check = std::move(check)]() mutable {
            // Where the last one has left, what follows its place is new.
            return go(map, at, std::next(last), check);
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
    template <class Map, class Check>
    static bool go(Map const& map, std::optional<typename Map::ConstIterator>& at,
                   typename Map::ConstIterator const& end, Check const& check) {
        if (at) {
            ++*at;
        } else {
            at = map.begin();
        }
        if (*at == end) {
            return false;
        }
        check(**at);
        return true;
    }

    std::deque<std::function<bool()>> work_;
};

}  // namespace Routing
