// Answers as people read them: tables, sorted, whose columns line up whatever the alphabet, with
// nothing in them that a terminal would obey. A header stands only above rows.
#pragma once

#include <string>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {

// VRF, address, interface, place, state, and whom it waits for or why it is left out.
std::string addressText(Json const& answer);
// A line for each interface: VRF, interface, addresses. What is not in the table is in brackets.
std::string briefText(Json const& answer);
// Who owns it, with the subnet; or the connected subnets that contain it.
std::string lookupText(Json const& answer);
std::string subnetText(Json const& answer);
// How the agent fares: names and values, then what it has of each.
std::string statusText(Json const& answer);

}  // namespace IntfAddr
