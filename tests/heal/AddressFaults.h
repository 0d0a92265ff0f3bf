// Whether the rows of a table are those of the addresses that are published, once no clean-up and
// no retry is to come any more.
#pragma once

#include "Faults.h"
#include "TableView.h"

namespace Healing {

// A row that nothing stands for: no address that its interface publishes (for a link-local row one
// of any length), no device, no virtual address.
void findUnfoundedRows(TableView const& view, Faults& faults);

// A published address whose interface has its device, or a virtual one, that has no row. It may
// wait instead behind what is in its way, or be the interface's link-local row with another length,
// or be refused, as a deprecated link-local address is.
void findLostAddresses(TableView const& view, Faults& faults);

// An address that waits and is not published, or not on a device.
void findIdleWaiters(TableView const& view, Faults& faults);

}  // namespace Healing
