// How an address leaves the table when it has left its interface.

#include "IpLib/IntfAddrVrfTableSm/Place.h"

namespace IpLib {

void IntfAddrVrfTableSm::removeIntfAddrWithMask(IntfAddrWithMaskKey const& key) {
    if (deferredIntfAddBacklog_->backlogHas(key)) {
        // It never reached the table.
        trace9("removing deferred ip {} on {}", key.addrWithMask.address(), key.intfId);
        deferredIntfAddBacklog_->backlogDel(key);
    } else if (!intfAddrVrfTable_) {
        return;
    } else if (key.isV6LinkLocal()) {
        removeIp6LinkLocal(key);
    } else {
        removeIntfAddr(key);
    }
}

// Undoes what admission wrote, piece by piece, whatever pieces are there.
void IntfAddrVrfTableSm::removeIntfAddr(IntfAddrWithMaskKey const& key) {
    Place const place(key);
    auto& table = *intfAddrVrfTable_;
    table.intfAddrEntryDel(place.content);

    auto const indexed = table.intfAddrEntryFromAddr(place.rowKey);
    if (!indexed) {
        trace9("ip {} on {} is not present", place.addr, place.intfId);
    } else if (indexed->intfId() == place.intfId) {
        trace9("removing ip {} on {}", place.addr, place.intfId);
        table.intfAddrEntryFromAddrDel(place.rowKey);
    } else {
        fail("indexed.intfId == intfId", "ip {} on {} has unexpected conflict on {}", place.addr,
             place.intfId, indexed->intfId());
    }
    removeFromSet(place);
}

void IntfAddrVrfTableSm::removeFromSet(Place const& place) {
    auto& table = *intfAddrVrfTable_;
    auto const set = table.intfAddrEntrySetFromSubnet(place.subnet);
    if (!set) {
        trace9({"set for subnet {} on {} is not present", "removeIntfAddr"}, place.subnet,
               place.intfId);
        return;
    }
    if (set->intfId() != place.intfId) {
        fail("set.intfId == intfId",
             {"subnet {} on {} has unexpected conflict on {}", "removeIntfAddr"}, place.subnet,
             place.intfId, set->intfId());
    }
    trace9({"removing ip {} with subnet {} on {} from set", "removeIntfAddr"}, place.addr,
           place.subnet, place.intfId);
    set->intfAddrEntryDel(place.rowKey);
    set->deprecatedIntfAddrEntryDel(place.rowKey);
    // Deprecated rows alone do not hold a subnet: they leave the set with it, and the table when
    // their own addresses go.
    if (set->intfAddrEntry().empty() && table.intfAddrEntrySetFromSubnet(place.subnet) == set) {
        trace9({"removing set for subnet {} on {}", "removeIntfAddr"}, place.subnet, place.intfId);
        table.intfAddrEntrySetFromSubnetDel(place.subnet);
    }
}

// Another link-local address of the interface is waiting, if there is one, and never comes here: so
// the interface's link-local row is the one that goes. Only the same address with another prefix
// length is not made to wait, and takes the indexes along when it goes.
void IntfAddrVrfTableSm::removeIp6LinkLocal(IntfAddrWithMaskKey const& key) {
    Place const place(key);
    auto& table = *intfAddrVrfTable_;
    table.intfAddrEntryDel(place.content);
    trace9("removing ip {} on {}", place.addr, place.intfId);
    table.intfAddrEntryFromAddrDel(place.rowKey);
    table.llIntfAddrEntryFromIntfIdDel(place.intfId);
}

}  // namespace IpLib
