// What would come of an address if it were configured on an interface now.
//
// The answer (docs/json.md, "why-not"):
//
//   address   as `show` would list it then, with its place
//   verdict, sentence, reasons   as `explain` would say it then (Explanation.h)
//   changes   the rows that would come and go because of it, each with the seconds from now
//   remarks   what the agent would have to mend
#pragma once

#include <string_view>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/rehearsal/Rehearsal.h"

namespace IntfAddr {

// `state` of the VRF, as /v1/state tells it; null where that has none. Throws BadQuestion where no
// interface can have the address.
Json whyNot(std::string_view state, L3::VrfName const& vrf, IpLib::IntfAddrWithMaskKey const& key);

// Whether the table would have it.
bool isAdmitted(Json const& answer);

Json jsonOf(Rehearsal::Change const& change);

}  // namespace IntfAddr
