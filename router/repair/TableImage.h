// What a table held when it was last looked at: its four collections, and what tells two of their
// members apart. A copy, so that it outlives what is done to the table.
#pragma once

#include <cstdint>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "Zin/HashKey.h"

namespace Routing {

// What has gone of one collection, and what has come, in the order of the collection.
template <class Key>
struct Difference {
    std::vector<Key> gone{};
    std::vector<Key> come{};

    bool empty() const { return gone.empty() && come.empty(); }
};

struct TableDifference {
    Difference<IpLib::IntfAddrEntryContent> rows{};
    Difference<IpLib::IntfAddrEntryKey> rowsFromAddr{};
    Difference<Nimb::IpGenPrefix> setsFromSubnet{};
    Difference<Nimb::IntfId> linkLocalFromIntf{};
};

class TableImage {
public:
    // Of no table.
    TableImage() = default;

    // Looks at the table again (null: none), and says what has changed.
    TableDifference update(IpLib::IntfAddrVrfTable const* table);

private:
    // One collection: what is the same of a member as long as the member is.
    template <class Key, class Mark>
    class Members {
    public:
        template <class Map, class MarkOf>
        Difference<Key> update(Map const* map, MarkOf const& markOf);

    private:
        Zin::HashMap2018<Key, Mark> marks_{Zin::hashSeed() ^ 0x1c93e57a};
    };

    struct None {
        friend bool operator==(None, None) = default;
    };

    Members<IpLib::IntfAddrEntryContent, None> rows_;
    Members<IpLib::IntfAddrEntryKey, IpLib::IntfAddrEntryContent> rowsFromAddr_;
    Members<Nimb::IpGenPrefix, Nimb::IntfId> setsFromSubnet_;
    Members<Nimb::IntfId, IpLib::IntfAddrEntryContent> linkLocalFromIntf_;
};

}  // namespace Routing
