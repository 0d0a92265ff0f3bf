// The rows of a table as a test compares them.
#pragma once

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace TestKit {

// "10.0.0.1/24 Ethernet1" for each row, in alphabetical order; one of a virtual address
// is "10.0.0.9 virtual".
std::vector<std::string> rowsOf(IpLib::IntfAddrVrfTable const& table);

}  // namespace TestKit
