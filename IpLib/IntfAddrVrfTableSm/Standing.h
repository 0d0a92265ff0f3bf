// What stands in the table where an address wants to, and whether that is in its way.
//
// An address is in conflict where its row is there with another interface or subnet, and where its
// subnet's set is another interface's. A link-local address is its interface's alone (RFC 4007): it
// is in conflict only with another one there. What decides about an admission and what tells a
// reader why an address waits both ask here.
#pragma once

#include "IpLib/IntfAddrVrfTableSm/Place.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace IpLib::IntfAddrVrfTableImpl {

struct Standing {
    enum class Conflict { none, withRow, withSet };

    // The row that has the address, whoever's it is; the interface's one for a link-local address.
    IntfAddrVrfTable::RowPtr row;
    // The set of the subnet; none for a link-local address.
    IntfAddrVrfTable::SetPtr set;
    Conflict conflict = Conflict::none;

    // The interface of the row, of the set where there is no row.
    Nimb::IntfId const& holder() const { return row ? row->intfId() : set->intfId(); }
};

Standing standingOf(IntfAddrVrfTable const& table, Place const& place);

}  // namespace IpLib::IntfAddrVrfTableImpl
