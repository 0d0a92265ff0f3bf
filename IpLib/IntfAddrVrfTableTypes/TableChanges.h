// The changes of one table's content: what keeps those apart that observers of the table set off
// while it is being written (see Zin/ChangeQueue.h).
//
// The scope of a change is the content of the row that it is about; one without address and subnet
// stands for everything that its interface has. The order of two changes matters where they share
// an interface, an address or a subnet, or where one is about an interface that holds the other's
// address or subnet in the table. A link-local address is its interface's alone, and a virtual one
// is nobody's.
#pragma once

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "Zin/ChangeQueue.h"

namespace IpLib {

class IntfAddrVrfTable;

// Whether the order of two changes of these scopes matters, by what the table holds when asked.
// Borrows the table.
class SharesInTable {
public:
    // Of a table that may be null: then nothing is held.
    explicit SharesInTable(IntfAddrVrfTable const* table) : table_(table) {}

    // The same whichever of the two comes first.
    bool operator()(IntfAddrEntryContent const& a, IntfAddrEntryContent const& b) const;

private:
    bool holds(Nimb::IntfId const& intfId, IntfAddrEntryContent const& row) const;

    IntfAddrVrfTable const* const table_;
};

// Where the order of two changes matters, the later one waits for the earlier.
using TableChanges = Zin::ChangeQueue<IntfAddrEntryContent, SharesInTable>;

}  // namespace IpLib
