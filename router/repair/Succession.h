// Who comes before whom when a table is filled anew: whoever had an address or a subnet, and still
// publishes it, keeps it, and what waited keeps its place in the queue.
//
//   1. the rows that stand in their own interface's subnets, and the link-local ones that are their
//      interface's; in the order of the rows
//   2. whatever else a subnet's interface publishes in it; where it waits, only if a row of the
//   next
//      kind would take the subnet away
//   3. the other rows: of deprecated addresses that have outlived their subnet, and of those that
//      look-ups do not find
//   4. what waited, in its order
//
// Where the way of one is taken by then, it waits. Rows of the first kind are in nobody's way but
// that of an address that does not stand so itself: all others may come in whatever order they are
// published, and are left out here.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "router/Published.h"

namespace Routing {

// Whether the row is what look-ups find, and stands in its interface's own subnet, or as its
// interface's link-local one: a row of the first kind.
bool standsInItsPlace(IpLib::IntfAddrVrfTable const& table, IpLib::IntfAddrEntry const& row);

// As what the address of a row is published; a link-local one with whatever length, and as not
// deprecated, since it would be refused. Nothing where it is not published.
std::optional<std::pair<IpLib::IntfAddrWithMaskKey, bool>> publishedAs(
    Published const& published, IpLib::IntfAddrWithMaskKey const& key);

// Of what is published and has its device alone; an address may be named twice. A refused
// link-local address is named, as not deprecated, where its row stands.
std::vector<IpLib::IntfAddrWithMask> succession(
    Published const& published, IpLib::IntfAddrVrfTable const& old,
    std::vector<IpLib::IntfAddrWithMaskKey> const& waiting);

}  // namespace Routing
