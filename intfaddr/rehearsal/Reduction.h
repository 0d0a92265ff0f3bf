// A scenario that shows how one address stands in a VRF, as short as may be: the state of the VRF
// without the lines that have no say in it.
//
//   in     the state, as /v1/state tells it; how the address stands, as /v1/addresses lists it
//   out    the lines that are left, which give the same on a replay
//
// What concerns other interfaces is left out first, then addresses in whose subnets it does not
// lie, then line by line whatever may go, for as long as there is time. Where a replay does not
// give what is wanted, as of an address whose way is free and which waits for its next try alone,
// nothing is left out but what other interfaces have.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "intfaddr/answer/Document.h"
#include "intfaddr/rehearsal/Rehearsal.h"

namespace IntfAddr {

struct Reduced {
    std::vector<std::string> lines{};  // without their ends
    // Whether they give what is wanted.
    bool isSame = false;
};

// `wanted`: the list of addresses; those that are not published are passed over.
Reduced reduced(std::string_view state, L3::VrfName const& vrf, Nimb::IpGenAddr const& addr,
                Json const& wanted, std::chrono::nanoseconds most);

}  // namespace IntfAddr
