// What would come of the operations of a scenario file if they were carried out now: the rows that
// would come and go, and when.
//
//     {"op":"ip.intf.del","vrf":"default","intf":"eth0"}
//     {"at":5.0,"op":"ip.primary","vrf":"default","intf":"eth1","addr":"10.0.0.1/24"}
//
// The times of the file count from now. It holds operations that change something, and `advance`;
// questions are not for it. VRFs have nothing to do with each other, so each is rehearsed by
// itself, with the lines that name it and those that name none.
//
// The answer (docs/json.md, "what-if") has the `changes` in the order of their times, and `remarks`
// on what the agent would have to mend.
#pragma once

#include <functional>
#include <istream>
#include <string>

#include "L3/VrfName.h"
#include "intfaddr/answer/Document.h"

namespace IntfAddr {

// Of a VRF; an empty one where there is none.
using StateOf = std::function<std::string(L3::VrfName const& vrf)>;

// Throws Scenario::FileError at the first line that makes no sense.
Json whatIf(std::istream& file, StateOf const& stateOf);

}  // namespace IntfAddr
