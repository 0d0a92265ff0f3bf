// Which start of an agent this is.
#pragma once

#include <string>

namespace IntfAddr {

// Another one each time that an agent starts, on this machine: the time and the process.
std::string startIdentity();

}  // namespace IntfAddr
