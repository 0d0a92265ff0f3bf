// A history, carried out and judged.
#pragma once

#include <string_view>
#include <vector>

#include "History.h"
#include "heal/Faults.h"

namespace Simulated {

using Healing::Fault;

std::vector<Fault> tried(History const& history);
// With as few steps as still leave something of that kind wrong.
History shrunk(History history, std::string_view kind);

}  // namespace Simulated
