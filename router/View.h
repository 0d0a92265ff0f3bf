// What a reader takes of one VRF: its rows, who owns an address, and which addresses wait. Copies,
// in an order that is the same for the same content.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace Routing {

// A row of the table. Sorts by address (IPv4 before IPv6), then ordinary before virtual, then by
// interface.
struct Row {
    Nimb::IpGenAddr addr{};      // the address itself
    bool virtualIp = false;      // a virtual address
    Nimb::IntfId intfId{};       // empty for a virtual address
    bool deprecated = false;     // past its preferred lifetime; its subnet's set says so
    Nimb::IpGenPrefix subnet{};  // unset for a virtual address

    // Of IPv6 alone; such an address is its interface's own (RFC 4007).
    bool linkLocal() const { return addr.isV6LinkLocal(); }
    // The subnet's; a virtual address stands for itself alone.
    std::uint8_t prefixLength() const {
        return virtualIp ? Nimb::maxPrefixLength(addr.family()) : subnet.prefixLength();
    }

    friend bool operator==(Row const&, Row const&) = default;
    friend std::strong_ordering operator<=>(Row const&, Row const&) = default;
};

// What an address waits for: an address that another row has, or a subnet, on an interface.
struct Holder {
    Nimb::IpGenAddrWithMask addrOrSubnet;  // a subnet has no host bits
    Nimb::IntfId intfId;                   // that has it
    bool isSubnet = false;                 // a subnet, not an address

    friend bool operator==(Holder const&, Holder const&) = default;
};

// An address that waits for its way into the table.
struct DeferredAddr {
    Nimb::IpGenAddrWithMask addr;  // as it is published
    Nimb::IntfId intfId;           // that publishes it
    // Nothing where the way is free by now and the address waits for the next try alone.
    std::optional<Holder> holder{};

    friend bool operator==(DeferredAddr const&, DeferredAddr const&) = default;
};

// An entry of this table, as readers see it.
Row rowOf(IpLib::IntfAddrVrfTable const& table, IpLib::IntfAddrEntry const& entry);

// Who keeps the address out of the table; nothing where nobody does.
std::optional<Holder> holderOf(IpLib::IntfAddrVrfTable const& table,
                               IpLib::IntfAddrWithMaskKey const& key);

// The longest connected subnet that contains the address; null where none does. Costs a look-up for
// each length that a subnet has.
IpLib::IntfAddrVrfTable::SetPtr connectedSubnet(IpLib::IntfAddrVrfTable const& table,
                                                Nimb::IpGenAddr const& addr);

// Sorted.
std::vector<Row> rows(IpLib::IntfAddrVrfTable const& table);

// The rows of one address, sorted: an ordinary and a virtual one may be there at once, and a
// link-local address may stand on any number of interfaces. Costs a look-up, but for a link-local
// address one step for each interface that has one.
std::vector<Row> ownersOf(IpLib::IntfAddrVrfTable const& table, Nimb::IpGenAddr const& addr);

// Sorted by address, then by interface.
std::vector<DeferredAddr> deferredAddrs(
    IpLib::IntfAddrVrfTable const& table,
    IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog const& backlog);

}  // namespace Routing
