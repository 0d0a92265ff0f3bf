// Writes operations as lines of a scenario file: what a run is recorded as. Reading them makes the
// same operations again.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "feeds/scenario/Json.h"
#include "feeds/scenario/Run.h"
#include "router/repair/OperationHistory.h"

namespace Scenario {

// {"op", its fields}
OrderedJson lineOf(Routing::Operation const& operation);
// With its time, where it has one.
OrderedJson lineOf(Routing::RecordedOperation const& recorded);
OrderedJson configLine(Config const& config);

// With its end. A device may have a name that is no UTF-8, which a scenario file is: such bytes are
// replaced.
std::string textOf(OrderedJson const& line);
// A name as it stands there, and in place of what is no UTF-8 this, by which others may be called
// too.
std::string nameIn(std::string_view name);
inline constexpr std::string_view replacement = "\xef\xbf\xbd";
// One line, with its end, of what may be shown on a terminal, whatever the text holds.
std::string commentLine(std::string_view text);

// The configuration, and what has been recorded under it, line by line.
void writeScenario(std::ostream& out, Config const& config, Routing::Recording const& recording);

}  // namespace Scenario
