// A report as a table for people: one line for each row, then, where addresses wait, one line for
// each of them with what it waits for.
#pragma once

#include <string>

#include "intfaddr/Report.h"

namespace IntfAddr {

// Ends in a newline.
std::string toText(Report const& report);

}  // namespace IntfAddr
