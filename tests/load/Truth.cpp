#include "load/Truth.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace Load {

void Truth::add(Interval const& interval, bool isThere) {
    assert(changes_.empty() || changes_.back().interval.ended <= interval.began);
    changes_.push_back({interval, isThere});
}

Truth::Allowed Truth::during(Interval const& question) const {
    Allowed allowed;
    auto const allow = [&allowed](bool isThere) {
        (isThere ? allowed.there : allowed.notThere) = true;
    };
    auto change = std::ranges::lower_bound(changes_, question.began, {},
                                           [](Change const& one) { return one.interval.ended; });
    allow(change != changes_.begin() && std::prev(change)->isThere);
    for (; change != changes_.end() && change->interval.began <= question.ended; ++change) {
        allow(change->isThere);
    }
    return allowed;
}

}  // namespace Load
