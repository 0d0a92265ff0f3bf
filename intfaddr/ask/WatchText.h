// A line of a watch (Watch.h) as people read it: + and - before what has come and has gone, in
// columns, and # before what is said of the stream itself.
//
//   +  default  192.0.2.1/24    eth0  192.0.2.0/24
//   # complete
//   # begin anew: more has changed than is kept (70 changes are lost)
#pragma once

#include <string>

#include "intfaddr/answer/Document.h"

namespace IntfAddr {

// With its end.
std::string watchText(Json const& line);

}  // namespace IntfAddr
