// How an address gets into the table, or has to wait.

#include "IpLib/IntfAddrVrfTableSm/Place.h"
#include "Tremlog/Record.h"

namespace IpLib {

void IntfAddrVrfTableSm::handleIntfAddrWithMask(IntfAddrWithMaskKey const& key) {
    write([this, key] { decide(key); });
}

void IntfAddrVrfTableSm::decide(IntfAddrWithMaskKey const& key) {
    bool const isPresent = allIntfAddrWithMask_->allHas(key);
    auto const addr = key.addrWithMask.address();
    bool const cleanupPresent = cleanupPending(key.intfId, addr.family());
    trace8({"ip {} on {} isPresent {} cleanupPresent {}", "handleIntfAddrWithMask"}, addr,
           key.intfId, isPresent, cleanupPresent);
    updateByIntfId(key, isPresent);
    if (isPresent) {
        if (!smConfig_.ignoreKernelInterfaceState && !kernelIntfPresent(key.intfId)) {
            // It is admitted when the kernel's interface comes up.
            trace8({"kernel interface not present for {}", "handleIntfAddrWithMask"}, key.intfId);
            return;
        }
        addRecord(allIntfAddrWithMask_->all(key));
    } else if (!cleanupPresent) {
        removeIntfAddrWithMask(key);
    } else {
        trace8({"deferring removal of ip {} on {} as deferred cleanup is present",
                "handleIntfAddrWithMask"},
               addr, key.intfId);
    }
}

void IntfAddrVrfTableSm::handleIntfAddrEntry(IntfAddrEntryContent const& content) {
    bool const isPresent = intfAddrVrfTable_->intfAddrEntryHas(content);
    trace8("ip {} on {} isVirtual {} isPresent {}", content.key.addr, content.intfId,
           content.key.virtualIp, isPresent);
    // What waited for the row that left gets its turn.
    if (!isPresent && deferredIntfAddSm()) {
        deferredIntfAddSm()->maybeScheduleTask();
    }
}

bool IntfAddrVrfTableSm::cleanupPending(Nimb::IntfId const& intfId, Nimb::AddressFamily af) const {
    return intfCleanupBacklog_ && intfCleanupBacklog_->hasBacklog(intfId, af);
}

bool IntfAddrVrfTableSm::kernelIntfPresent(Nimb::IntfId const& intfId) const {
    return kernelIntfDir_ && kernelIntfDir_->deviceIntfStatusHas(intfId);
}

void IntfAddrVrfTableSm::updateByIntfId(IntfAddrWithMaskKey const& key, bool isPresent) {
    if (isPresent) {
        allIntfAddrWithMask_->byIntfIdIs(key.intfId)->byIntfIdIs(key);
        return;
    }
    if (auto const record = allIntfAddrWithMask_->byIntfId(key.intfId)) {
        record->byIntfIdDel(key);
        if (record->byIntfId().empty()) {
            allIntfAddrWithMask_->byIntfIdDel(key.intfId);
        }
    }
}

void IntfAddrVrfTableSm::addIntfAddrWithMask(IntfAddrWithMaskKey const& key) {
    // An address that is withdrawn while this waits for its turn is not admitted any more.
    bool const isPresent = allIntfAddrWithMask_->allHas(key);
    write([this, key, isPresent] {
        if (allIntfAddrWithMask_->allHas(key)) {
            addRecord(allIntfAddrWithMask_->all(key));
        } else if (!isPresent) {
            addRecord(IntfAddrWithMask(key));
        }
    });
}

void IntfAddrVrfTableSm::processDeferredIntfAdd(IntfAddrWithMaskKey const& key) {
    if (!allIntfAddrWithMask_->allHas(key)) {
        fail("all has key", "{} missing in all collection", key);
    }
    write([this, key] {
        if (allIntfAddrWithMask_->allHas(key)) {
            addRecord(allIntfAddrWithMask_->all(key));
        }
    });
}

void IntfAddrVrfTableSm::addRecord(IntfAddrWithMask const& record) {
    if (!intfAddrVrfTable_) {
        return;
    }
    if (record.isV6LinkLocal()) {
        addIp6LinkLocal(record);
    } else {
        addIntfAddr(record);
    }
}

// The order of the writes, rows before indexes and the subnet's set last, is what observers of the
// table see. An observer may change the inputs as it hears of a write, so that what is written next
// is looked up anew each time, and nothing more is written for a row that has gone meanwhile.
void IntfAddrVrfTableSm::addIntfAddr(IntfAddrWithMask const& record) {
    Place const place(record.key());
    auto& table = *intfAddrVrfTable_;
    auto const existing = table.intfAddrEntryFromAddr(place.rowKey);
    auto const existingSet = table.intfAddrEntrySetFromSubnet(place.subnet);
    bool const conflict = (existing && existing->content() != place.content) ||
                          (existingSet && existingSet->intfId() != place.intfId);
    if (conflict) {
        if (deferredIntfAddBacklog_->backlogHas(record.key())) {
            trace9("ip {} on {} is already in backlog", place.addr, place.intfId);
            return;
        }
        auto const& holder = existing ? existing->intfId() : existingSet->intfId();
        Tremlog::record<"deferring add of ip {} on {} as it has a conflict on {}">(
            place.addr, place.intfId, holder);
        trace3("deferring add of ip {} on {} as it has a conflict on {}", place.addr, place.intfId,
               holder);
        defer(record.key());
        return;
    }

    deferredIntfAddBacklog_->backlogDel(record.key());
    trace8("adding ip {} with subnet {} on {}", place.addr, place.subnet, place.intfId);
    auto const entry = table.intfAddrEntryIs(place.content);
    if (table.intfAddrEntry(place.content) != entry) {
        return;
    }
    auto const indexed = table.intfAddrEntryFromAddr(place.rowKey);
    if (!indexed) {
        trace9("adding ip {} on {}", place.addr, place.intfId);
        table.intfAddrEntryFromAddrIs(entry);
    } else if (indexed != entry) {
        fail("indexed == entry", "ip {} in subnet {} on {} has unexpected conflict on {}",
             place.addr, place.subnet, place.intfId, indexed->intfId());
    }
    if (table.intfAddrEntry(place.content) == entry) {
        putIntoSet(record, place, entry);
    }
}

void IntfAddrVrfTableSm::putIntoSet(IntfAddrWithMask const& record, Place const& place,
                                    Zin::Ptr<IntfAddrEntry> const& entry) {
    auto set = intfAddrVrfTable_->intfAddrEntrySetFromSubnet(place.subnet);
    if (!set) {
        set = intfAddrEntrySetFactory(place.intfId, place.subnet);
        intfAddrVrfTable_->intfAddrEntrySetFromSubnetIs(set);
    } else if (set->intfId() != place.intfId) {
        fail("set.intfId == intfId",
             {"subnet {} on {} has unexpected conflict on {}", "addIntfAddr"}, place.subnet,
             place.intfId, set->intfId());
    }
    trace9({"adding ip {} in subnet {} on {} to set, isDeprecated {}", "addIntfAddr"}, place.addr,
           place.subnet, place.intfId, record.deprecated());
    if (record.deprecated()) {
        set->intfAddrEntryDel(place.rowKey);
        set->deprecatedIntfAddrEntryIs(entry);
    } else {
        set->deprecatedIntfAddrEntryDel(place.rowKey);
        set->intfAddrEntryIs(entry);
    }
}

// A link-local address is its interface's alone, so it conflicts only with another one there: the
// first one keeps the interface's link-local row, and the others wait.
void IntfAddrVrfTableSm::addIp6LinkLocal(IntfAddrWithMask const& record) {
    Place const place(record.key());
    auto& table = *intfAddrVrfTable_;
    auto const existing = table.llIntfAddrEntryFromIntfId(place.intfId);
    if (!existing) {
        deferredIntfAddBacklog_->backlogDel(record.key());
        trace9("adding ip {} on {}", place.addr, place.intfId);
        auto const entry = table.intfAddrEntryIs(place.content);
        if (table.intfAddrEntry(place.content) == entry) {
            table.intfAddrEntryFromAddrIs(entry);
        }
        if (table.intfAddrEntry(place.content) == entry) {
            table.llIntfAddrEntryFromIntfIdIs(entry);
        }
    } else if (existing->key().addr == place.addr) {
        trace9("ignoring ip {} on {} as it already exists", place.addr, place.intfId);
    } else if (!deferredIntfAddBacklog_->backlogHas(record.key())) {
        trace9("deferring ip {} on {} while waiting for existing ip {} to be cleaned up",
               place.addr, place.intfId, existing->key().addr);
        defer(record.key());
    }
}

// Each address that comes to wait is tried once the delay is over, also where no row leaves until
// then.
void IntfAddrVrfTableSm::defer(IntfAddrWithMaskKey const& key) {
    deferredIntfAddBacklog_->backlogIs(key);
    if (deferredIntfAddSm()) {
        deferredIntfAddSm()->maybeScheduleTask();
    }
}

}  // namespace IpLib
