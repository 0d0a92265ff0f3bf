// The IPv4 addresses of one interface, in the kernel's order, which its notifications do not tell.
//
// The kernel has one list an interface: primaries before secondaries, and of the primaries one with
// a narrower scope before one with a wider scope that came after it. An address is secondary if it
// came when its subnet had one already. When a primary goes, its secondaries have gone before it,
// or the first of them is promoted: it moves behind the primaries, and is told of once more.
//
//   in     addresses as notifications or dumps bring them
//   out    the list, as a dump of this moment would have it
#pragma once

#include <vector>

#include "feeds/netlink/Message.h"

namespace Netlink {

class Ip4Addresses {
public:
    std::vector<Address> const& list() const { return list_; }

    // Puts the address in its place; one that is there already keeps it. Returns whether anything
    // has changed.
    bool set(Address const& address);
    bool remove(Address const& address);
    // As a dump shows it.
    bool replace(std::vector<Address> list);

private:
    using Position = std::vector<Address>::iterator;

    Position find(Address const& address);
    Position behindPrimaries(Position from, Position dflt, std::uint8_t scope);
    void promoteInPlaceOf(Position primary);

    std::vector<Address> list_;
};

}  // namespace Netlink
