// How everything that an interface has in the table goes at once, sooner or later.

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Tremlog/Record.h"

namespace IpLib {

void IntfAddrVrfTableSm::addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    if (smConfig_.intfCleanupDelay == 0.0) {
        trace9("cleaning up for {} af {} immediately", intfId, af);
        processCleanupIntf(intfId, af);
        return;
    }
    if (auto const pending = intfCleanupBacklog_->getBacklog(intfId, af)) {
        if (pending->processed()) {
            fail("!processed", "backlog contains entry for {} af {} that was already processed",
                 intfId, af);
        }
        // The first request's time stands: repeating it never puts the clean-up off.
        trace9("cleanup already pending for {} {}", intfId, af);
        return;
    }
    Zin::Seconds const now = scheduler_->now();
    trace9("cleanup deferred for {} af {} at {}", intfId, af, now);
    intfCleanupBacklog_->addBacklog(intfId, af, now);
    if (!intfCleanupSm()) {
        fail("intfCleanupSm", "no intfCleanupSm when there is a delay {}",
             smConfig_.intfCleanupDelay);
    }
    intfCleanupSm()->maybeScheduleTask();
}

void IntfAddrVrfTableSm::processPendingDeferredCleanup(Nimb::IntfId const& intfId,
                                                       Nimb::AddressFamily af) {
    // Without a delay nothing is ever pending.
    auto const pending = intfCleanupBacklog_ ? intfCleanupBacklog_->removeBacklog(intfId, af)
                                             : IntfCleanupBacklog::Entry();
    if (pending) {
        pending->processedIs(true);
        trace9("cleaning up for {} af {} immediately", intfId, af);
        processCleanupIntf(intfId, af);
    }
}

void IntfAddrVrfTableSm::processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    write([this, whose = IntfFamily{intfId, af}] { cleanUp(whose); });
}

void IntfAddrVrfTableSm::cleanUp(IntfFamily const& whose) {
    trace8({"cleaning up {} for address-family {}", "processCleanupIntf"}, whose.intfId, whose.af);
    Tremlog::record<"cleaning up {} for address-family {}">(whose.intfId, whose.af);
    if (intfAddrVrfTable_) {
        cleanUpRows(whose);
        cleanUpSets(whose);
        if (whose.af == Nimb::AddressFamily::ipv6) {
            trace9({"cleaning up ipv6 link-local address on {}", "processCleanupIntf"},
                   whose.intfId);
            intfAddrVrfTable_->llIntfAddrEntryFromIntfIdDel(whose.intfId);
        }
    }
    cleanUpDeferred(whose);
}

// Each of these walks a copy of its keys: observers of what goes may change what is left.

void IntfAddrVrfTableSm::cleanUpRows(IntfFamily const& whose) {
    auto& table = *intfAddrVrfTable_;
    for (auto const& key : table.intfAddrEntryKeysOf(whose)) {
        auto const row = table.intfAddrEntryFromAddr(key);
        if (!row || row->intfId() != whose.intfId) {
            continue;
        }
        trace9({"cleaning up ip {} on {}", "processCleanupIntf"}, key.addr, whose.intfId);
        Tremlog::record<"cleaning up ip {} on {}">(key.addr, whose.intfId);
        table.intfAddrEntryFromAddrDel(key);
        table.intfAddrEntryDel(row->content());
    }
}

void IntfAddrVrfTableSm::cleanUpSets(IntfFamily const& whose) {
    auto& table = *intfAddrVrfTable_;
    for (auto const& subnet : table.subnetsOf(whose)) {
        auto const set = table.intfAddrEntrySetFromSubnet(subnet);
        if (!set || set->intfId() != whose.intfId) {
            continue;
        }
        trace9({"cleaning up subnet {} on {}", "processCleanupIntf"}, subnet, whose.intfId);
        table.intfAddrEntrySetFromSubnetDel(subnet);
        for (auto const& member : set->intfAddrEntry()) {
            table.intfAddrEntryDel(member.value->content());
        }
        // A deprecated row is as much the interface's as the others are.
        for (auto const& member : set->deprecatedIntfAddrEntry()) {
            table.intfAddrEntryDel(member.value->content());
        }
    }
}

void IntfAddrVrfTableSm::cleanUpDeferred(IntfFamily const& whose) {
    for (auto const& key : deferredIntfAddBacklog_->backlogKeysOf(whose)) {
        auto const addr = key.addrWithMask.address();
        trace9({"removing deferred ip {} on {}", "processCleanupIntf"}, addr, whose.intfId);
        Tremlog::record<"removing deferred ip {} on {}">(addr, whose.intfId);
        deferredIntfAddBacklog_->backlogDel(key);
    }
}

}  // namespace IpLib
