// Whether the indexes of a table and its rows say the same, both ways.
#pragma once

#include "Faults.h"
#include "TableView.h"

namespace Healing {

// The index by address; and rows that share a key, of which that could find one alone.
void findFaultsByAddress(TableView const& view, Faults& faults);

// The sets. A row of an interface's ordinary address is in its subnet's set, which is that
// interface's, and there in the collection that the published flag says. The row of a deprecated
// address may have lost its place, for deprecated rows alone keep no set.
void findFaultsOfSets(TableView const& view, Faults& faults);

// The link-local row of each interface.
void findFaultsOfLinkLocals(TableView const& view, Faults& faults);

}  // namespace Healing
