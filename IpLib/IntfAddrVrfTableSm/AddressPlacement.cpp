#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"

#include <utility>

#include "Tremlog/Record.h"

namespace IpLib::IntfAddrVrfTableImpl {

void AddressPlacement::admit(Place const& place, bool deprecated) {
    if (place.isV6LinkLocal()) {
        admitLinkLocal(place);
    } else {
        admitIntfAddr(place, deprecated);
    }
}

void AddressPlacement::admitIntfAddr(Place const& place, bool deprecated) {
    auto const standing = standingOf(*table_, place);
    if (standing.conflict != Standing::Conflict::none) {
        if (deferred_.has(place.key)) {
            trace9({"ip {} on {} is already in backlog", "addIntfAddr"}, place.addr(),
                   place.intfId());
            return;
        }
        Tremlog::record<"deferring add of ip {} on {} as it has a conflict on {}">(
            place.addr(), place.intfId(), standing.holder());
        trace3({"deferring add of ip {} on {} as it has a conflict on {}", "addIntfAddr"},
               place.addr(), place.intfId(), standing.holder());
        deferred_.insert(place.key);
        return;
    }

    deferred_.remove(place.key);
    trace8({"adding ip {} with subnet {} on {}", "addIntfAddr"}, place.addr(), place.subnet(),
           place.intfId());
    std::uint32_t const writes = table_->writes();
    std::uint32_t const rows = table_->intfAddrEntry().size();
    auto const entry = table_->intfAddrEntryIs(place.content);
    bool const isNew = table_->intfAddrEntry().size() == rows + 1;
    if (!standing.row) {
        trace9({"adding ip {} on {}", "addIntfAddr"}, place.addr(), place.intfId());
        table_->intfAddrEntryFromAddrIs(entry);
    } else if (standing.row != entry) {
        fail("standing.row == entry",
             {"ip {} in subnet {} on {} has unexpected conflict on {}", "addIntfAddr"},
             place.addr(), place.subnet(), place.intfId(), standing.row->intfId());
    }
    std::uint32_t const own =
        (isNew ? 1u : 0u) + (standing.row ? 0u : 1u) + (standing.set ? 0u : 1u);
    auto const set = putIntoSet(place, deprecated, standing.set, entry);
    // Most often nobody else has written meanwhile, and there is nothing to look for.
    if (table_->writes() != writes + own) {
        expectUntouched(table_->intfAddrEntry(place.content) == entry &&
                            table_->intfAddrEntryFromAddr(place.rowKey()) == entry &&
                            table_->intfAddrEntrySetFromSubnet(place.subnet()) == set,
                        place.content);
    }
}

IntfAddrVrfTable::SetPtr AddressPlacement::putIntoSet(Place const& place, bool deprecated,
                                                      IntfAddrVrfTable::SetPtr set,
                                                      Zin::Ptr<IntfAddrEntry> const& entry) {
    if (!set) {
        set = intfAddrEntrySetFactory(place.intfId(), place.subnet());
        table_->intfAddrEntrySetFromSubnetIs(set);
    }
    trace9({"adding ip {} in subnet {} on {} to set, isDeprecated {}", "addIntfAddr"}, place.addr(),
           place.subnet(), place.intfId(), deprecated);
    if (deprecated) {
        set->intfAddrEntryDel(place.rowKey());
        set->deprecatedIntfAddrEntryIs(entry);
    } else {
        set->deprecatedIntfAddrEntryDel(place.rowKey());
        set->intfAddrEntryIs(entry);
    }
    return set;
}

// The first link-local address of an interface keeps the interface's row, and the others wait. With
// another prefix length it is the same address.
void AddressPlacement::admitLinkLocal(Place const& place) {
    auto const standing = standingOf(*table_, place);
    if (standing.conflict != Standing::Conflict::none) {
        if (!deferred_.has(place.key)) {
            trace9({"deferring ip {} on {} while waiting for existing ip {} to be cleaned up",
                    "addIp6LinkLocal"},
                   place.addr(), place.intfId(), standing.row->key().addr);
            deferred_.insert(place.key);
        }
    } else if (standing.row) {
        trace9({"ignoring ip {} on {} as it already exists", "addIp6LinkLocal"}, place.addr(),
               place.intfId());
    } else {
        deferred_.remove(place.key);
        trace9({"adding ip {} on {}", "addIp6LinkLocal"}, place.addr(), place.intfId());
        auto const entry = table_->intfAddrEntryIs(place.content);
        table_->intfAddrEntryFromAddrIs(entry);
        table_->llIntfAddrEntryFromIntfIdIs(entry);
        expectUntouched(table_->intfAddrEntry(place.content) == entry &&
                            table_->intfAddrEntryFromAddr(place.rowKey()) == entry &&
                            table_->llIntfAddrEntryFromIntfId(place.intfId()) == entry,
                        place.content);
    }
}

void AddressPlacement::withdraw(Place const& place) {
    if (deferred_.has(place.key)) {
        // It never reached the table.
        trace9({"removing deferred ip {} on {}", "removeIntfAddrWithMask"}, place.addr(),
               place.intfId());
        deferred_.remove(place.key);
    } else if (place.isV6LinkLocal()) {
        withdrawLinkLocal(place);
    } else {
        withdrawIntfAddr(place);
    }
}

// Undoes what admission wrote, piece by piece, whatever pieces are there.
void AddressPlacement::withdrawIntfAddr(Place const& place) {
    table_->intfAddrEntryDel(place.content);
    auto const indexed = table_->intfAddrEntryFromAddr(place.rowKey());
    if (!indexed) {
        trace9({"ip {} on {} is not present", "removeIntfAddr"}, place.addr(), place.intfId());
    } else if (indexed->intfId() == place.intfId()) {
        trace9({"removing ip {} on {}", "removeIntfAddr"}, place.addr(), place.intfId());
        table_->intfAddrEntryFromAddrDel(place.rowKey());
    } else {
        fail("indexed.intfId == intfId",
             {"ip {} on {} has unexpected conflict on {}", "removeIntfAddr"}, place.addr(),
             place.intfId(), indexed->intfId());
    }
    withdrawFromSet(place);
}

void AddressPlacement::withdrawFromSet(Place const& place) {
    auto const set = table_->intfAddrEntrySetFromSubnet(place.subnet());
    if (!set) {
        trace9({"set for subnet {} on {} is not present", "removeIntfAddr"}, place.subnet(),
               place.intfId());
        return;
    }
    if (set->intfId() != place.intfId()) {
        fail("set.intfId == intfId",
             {"subnet {} on {} has unexpected conflict on {}", "removeIntfAddr"}, place.subnet(),
             place.intfId(), set->intfId());
    }
    trace9({"removing ip {} with subnet {} on {} from set", "removeIntfAddr"}, place.addr(),
           place.subnet(), place.intfId());
    set->intfAddrEntryDel(place.rowKey());
    set->deprecatedIntfAddrEntryDel(place.rowKey());
    // Deprecated rows alone do not hold a subnet: they leave the set with it, and the table when
    // their own addresses go.
    if (set->intfAddrEntry().empty()) {
        trace9({"removing set for subnet {} on {}", "removeIntfAddr"}, place.subnet(),
               place.intfId());
        expectUntouched(table_->intfAddrEntrySetFromSubnetDel(place.subnet()) == set,
                        place.content);
    }
}

// Another link-local address of the interface is waiting, if there is one, and never comes here: so
// the interface's link-local row is the one that goes. Only the same address with another prefix
// length is not made to wait, and takes the indexes along when it goes.
void AddressPlacement::withdrawLinkLocal(Place const& place) {
    table_->intfAddrEntryDel(place.content);
    trace9({"removing ip {} on {}", "removeIp6LinkLocal"}, place.addr(), place.intfId());
    table_->intfAddrEntryFromAddrDel(place.rowKey());
    table_->llIntfAddrEntryFromIntfIdDel(place.intfId());
}

void AddressPlacement::cleanUp(IntfFamily const& whose) {
    trace8({"cleaning up {} for address-family {}", "processCleanupIntf"}, whose.intfId, whose.af);
    Tremlog::record<"cleaning up {} for address-family {}">(whose.intfId, whose.af);
    // Walked as they are now: what observers change comes after.
    for (auto const& key : table_->intfAddrEntryKeysOf(whose)) {
        cleanUpRow(whose, key);
    }
    for (auto const& subnet : table_->subnetsOf(whose)) {
        cleanUpSet(whose, subnet);
    }
    if (whose.af == Nimb::AddressFamily::ipv6) {
        trace9({"cleaning up ipv6 link-local address on {}", "processCleanupIntf"}, whose.intfId);
        table_->llIntfAddrEntryFromIntfIdDel(whose.intfId);
    }
    for (auto const& key : deferred_.keysOf(whose)) {
        auto const addr = key.addrWithMask.address();
        trace9({"removing deferred ip {} on {}", "processCleanupIntf"}, addr, whose.intfId);
        Tremlog::record<"removing deferred ip {} on {}">(addr, whose.intfId);
        deferred_.remove(key);
    }
}

void AddressPlacement::cleanUpRow(IntfFamily const& whose, IntfAddrEntryKey const& key) {
    auto const row = table_->intfAddrEntryFromAddr(key);
    expectUntouched(row && row->intfId() == whose.intfId, {key, whose.intfId, {}});
    // Out of the index, it is still this interface's until it is out of the rows.
    table_->changes().within(row->content(), [&] {
        trace9({"cleaning up ip {} on {}", "processCleanupIntf"}, key.addr, whose.intfId);
        Tremlog::record<"cleaning up ip {} on {}">(key.addr, whose.intfId);
        table_->intfAddrEntryFromAddrDel(key);
        table_->intfAddrEntryDel(row->content());
    });
}

void AddressPlacement::cleanUpSet(IntfFamily const& whose, Nimb::IpGenPrefix const& subnet) {
    auto const set = table_->intfAddrEntrySetFromSubnet(subnet);
    IntfAddrEntryContent const scope{{}, whose.intfId, subnet};
    expectUntouched(set && set->intfId() == whose.intfId, scope);
    table_->changes().within(scope, [&] {
        trace9({"cleaning up subnet {} on {}", "processCleanupIntf"}, subnet, whose.intfId);
        table_->intfAddrEntrySetFromSubnetDel(subnet);
        for (auto const& member : set->intfAddrEntry()) {
            table_->intfAddrEntryDel(member.value->content());
        }
        // A deprecated row is as much the interface's as the others are.
        for (auto const& member : set->deprecatedIntfAddrEntry()) {
            table_->intfAddrEntryDel(member.value->content());
        }
    });
}

IntfAddrEntryContent AddressPlacement::virtualRow(Nimb::IpGenAddr const& addr) {
    return {.key = IntfAddrEntryKey::makeVirtualIpKey(addr), .intfId = {}, .subnet = {}};
}

void AddressPlacement::addVirtual(Nimb::IpGenAddr const& addr) {
    auto const content = virtualRow(addr);
    auto const entry = table_->intfAddrEntryIs(content);
    table_->intfAddrEntryFromAddrIs(entry);
    expectUntouched(table_->intfAddrEntry(content) == entry &&
                        table_->intfAddrEntryFromAddr(content.key) == entry,
                    content);
}

void AddressPlacement::removeVirtual(Nimb::IpGenAddr const& addr) {
    auto const content = virtualRow(addr);
    table_->intfAddrEntryFromAddrDel(content.key);
    table_->intfAddrEntryDel(content);
}

void AddressPlacement::expectUntouched(bool isUntouched, IntfAddrEntryContent const& row) {
    if (!isUntouched) {
        fail("isUntouched", "an observer of the table has changed {} of {} while it was written",
             row.toStrep(), row.intfId);
    }
}

}  // namespace IpLib::IntfAddrVrfTableImpl
