// What a table held when it was last looked at, so that the one in its place can be compared with
// it: its rows, index entries and sets, which never change themselves. It outlives what is done to
// the table.
#pragma once

#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace Routing {

// What has gone of one collection, and what has come, in the order of the collection.
template <class Key>
struct Difference {
    std::vector<Key> gone{};  // what is not there any more, or not the same
    std::vector<Key> come{};  // what is new, or not the same
};

// A row is the same if its content is; an index entry if its row is; a set if its interface is.
struct TableDifference {
    Difference<IpLib::IntfAddrEntryContent> rows{};      // of the rows
    Difference<IpLib::IntfAddrEntryKey> rowsFromAddr{};  // of the index by address
    Difference<Nimb::IpGenPrefix> setsFromSubnet{};      // of the subnets' sets
    Difference<Nimb::IntfId> linkLocalFromIntf{};        // of the index of link-local rows
};

class TableImage {
public:
    // Of no table, where it is null.
    explicit TableImage(IpLib::IntfAddrVrfTable const* table);

    // What is different in this table, or null.
    TableDifference differenceTo(IpLib::IntfAddrVrfTable const* table) const;

private:
    using Rows = std::vector<Zin::Ptr<IpLib::IntfAddrEntry const>>;

    Rows rows_;
    Rows rowsFromAddr_;
    std::vector<Zin::Ptr<IpLib::IntfAddrEntrySet const>> setsFromSubnet_;
    Rows linkLocalFromIntf_;
};

}  // namespace Routing
