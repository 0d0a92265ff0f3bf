// A list of changes, tried in two routers: in one an observer of the table makes the nested changes
// from within a notification of the outer change, in the other they are made right after it, or
// after the part of it that the observer was told of. What comes of them must be the same.
#pragma once

#include <cstdint>
#include <string>

#include "ChangeList.h"
#include "Tables.h"

namespace Nested {

enum class Outcome {
    same,
    // Made right after the outer change, the changes end in a failed invariant by themselves.
    leftOut,
    // The outer change tells nobody of anything.
    notTold,
    different,
};

// When all must be equal: when the outer change returns, or once all delays have passed; and
// whether the observer must find its changes in the table as soon as it has made them.
struct Promise {
    bool atOnce = true;
    bool foundWithin = false;
};

struct Trial {
    Outcome outcome = Outcome::same;
    // In which notification of the outer change the observer acted, from 1, and how many there are.
    std::uint32_t notification = 0;
    std::uint32_t notifications = 0;
    Part part = Part::whole;
    // What differs, a text for people.
    std::string difference{};
    // What comes of the changes where they are made right after the outer one.
    Tables after{};
};

Trial tried(ChangeList const& list, Promise const& promise);

// The list with as few operations as still make a difference.
ChangeList shrunk(ChangeList list, Promise const& promise);

// The shrunk list, and what differs then.
std::string report(ChangeList const& list, Promise const& promise);

}  // namespace Nested
