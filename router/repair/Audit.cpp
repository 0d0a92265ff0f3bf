#include "router/repair/Audit.h"

#include <algorithm>
#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSm/Standing.h"

namespace Routing {

using IpLib::IntfAddrEntry;
using IpLib::IntfAddrEntryKey;
using IpLib::IntfAddrVrfTableImpl::AddressPlacement;
using IpLib::IntfAddrVrfTableImpl::Place;
using IpLib::IntfAddrVrfTableImpl::Standing;
using Kind = Fault::Kind;

namespace {

IpLib::IntfAddrWithMaskKey keyOf(IntfAddrEntry const& row) {
    return {row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
}

}  // namespace

Audit::Audit(Router const& router, L3::VrfName vrf, FaultBook& faults)
    : router_(router),
      vrf_(std::move(vrf)),
      faults_(faults),
      published_(router.published(vrf_)),
      table_(router.table(vrf_)),
      machine_(router.tableSm(vrf_)) {
    steps_.walk(table_, table_->intfAddrEntry(),
                [this](auto const& member) { checkRow(*member.value); });
    steps_.walk(table_, table_->intfAddrEntryFromAddr(),
                [this](auto const& member) { checkAddressEntry(member.key, *member.value); });
    steps_.walk(table_, table_->intfAddrEntrySetFromSubnet(),
                [this](auto const& member) { checkSet(member.key, member.value); });
    steps_.walk(table_, table_->llIntfAddrEntryFromIntfId(),
                [this](auto const& member) { checkLinkLocalEntry(member.key, *member.value); });
    if (auto const status = published_.ipStatus()) {
        steps_.walk(status, status->ipIntfStatus(), [this](auto const& intf) {
            Zin::Ptr<Ip::IpIntfStatus> const alive = intf.value;
            if (Published::hasPrimary(*alive)) {
                checkPublished({alive->intfId(), alive->activeAddrWithMask()}, false);
            }
            steps_.walk(alive, alive->secondaryActiveAddrWithMask(),
                        [this, intfId = alive->intfId()](auto const& addr) {
                            checkPublished({intfId, addr.key}, false);
                        });
        });
    }
    if (auto const status = published_.ip6Status()) {
        steps_.walk(status, status->intfStatus(), [this](auto const& intf) {
            Zin::Ptr<Ip6::IntfStatus> const alive = intf.value;
            steps_.walk(alive, alive->addr(), [this, intfId = alive->intfId()](auto const& addr) {
                checkPublished({intfId, addr.key}, addr.value.deprecated);
            });
        });
    }
    if (machine_ && machine_->deferredIntfAddBacklog()) {
        auto const& backlog = machine_->deferredIntfAddBacklog();
        steps_.walk(backlog, backlog->backlog(),
                    [this](auto const& member) { checkWaiting(member.key); });
    }
    if (machine_ && machine_->intfCleanupBacklog()) {
        auto const& backlog = machine_->intfCleanupBacklog();
        steps_.walk(backlog, backlog->backlog(),
                    [this](auto const& member) { checkCleanup(*member.value); });
    }
}

bool Audit::isStanding() const {
    return router_.tables()->intfAddrVrfTable(vrf_) == table_ && router_.tableSm(vrf_) == machine_;
}

void Audit::checkRow(IntfAddrEntry const& row) {
    auto const indexed = table_->intfAddrEntryFromAddr(row.key());
    if (!indexed || indexed->content() != row.content()) {
        found(indexed && isRow(*indexed) ? Kind::rowsOfOneKey : Kind::wrongAddressEntry, row);
    }
    if (row.key().virtualIp) {
        if (!published_.hasVirtual(row.key().addr)) {
            found(Kind::unjustifiedVirtual, row);
        }
        return;
    }
    checkJustified(row);
    if (row.key().addr.isV6LinkLocal()) {
        auto const entry = table_->llIntfAddrEntryFromIntfId(row.intfId());
        if (!entry || entry->content() != row.content()) {
            found(Kind::wrongLinkLocalEntry, row);
        }
    } else {
        checkSetOf(row);
    }
}

void Audit::checkJustified(IntfAddrEntry const& row) {
    bool const isPublished =
        published_.deprecated(keyOf(row)).has_value() ||
        (row.key().addr.isV6LinkLocal() && published_.linkLocal(row.intfId(), row.key().addr));
    if ((!isPublished || !published_.hasDevice(row.intfId())) && !isCleanupPending(row)) {
        found(isPublished ? Kind::rowWithoutDevice : Kind::unjustifiedRow, row);
    }
}

void Audit::checkSetOf(IntfAddrEntry const& row) {
    auto const set = table_->intfAddrEntrySetFromSubnet(row.subnet());
    bool const isOwn = set && set->intfId() == row.intfId();
    bool const isUsable = isOwn && set->intfAddrEntryHas(row.key());
    bool const isDeprecated = isOwn && set->deprecatedIntfAddrEntryHas(row.key());
    auto const wanted = published_.deprecated(keyOf(row));
    bool const isRight =
        wanted ? (*wanted ? !isUsable : isUsable && !isDeprecated) : isUsable != isDeprecated;
    if (!isRight && !isCleanupPending(row)) {
        found(Kind::wrongSet, row);
    }
}

void Audit::checkAddressEntry(IntfAddrEntryKey const& key, IntfAddrEntry const& row) {
    if (key != row.key() || !isRow(row)) {
        found(Kind::wrongAddressEntry, row);
    }
}

void Audit::checkSet(Nimb::IpGenPrefix const& subnet, IpLib::IntfAddrVrfTable::SetPtr const& set) {
    if (set->intfAddrEntry().empty() && set->deprecatedIntfAddrEntry().empty()) {
        found({.addr = {subnet.address(), subnet.prefixLength()},
               .intf = set->intfId(),
               .kind = Kind::emptySet});
        return;
    }
    auto const checkMember = [this, set, subnet](auto const& member) {
        IntfAddrEntry const& row = *member.value;
        bool const isInTable = table_->intfAddrEntrySetFromSubnet(subnet) == set;  // still
        if (isInTable && (!isRow(row) || row.subnet() != subnet || row.intfId() != set->intfId())) {
            found(Kind::wrongSet, row);
        }
    };
    steps_.walk(set, set->intfAddrEntry(), checkMember);
    steps_.walk(set, set->deprecatedIntfAddrEntry(), checkMember);
}

void Audit::checkLinkLocalEntry(Nimb::IntfId const& intf, IntfAddrEntry const& row) {
    if (row.intfId() != intf || !isRow(row)) {
        found(Kind::wrongLinkLocalEntry, row);
    }
}

void Audit::checkPublished(IpLib::IntfAddrWithMaskKey const& key, bool deprecated) {
    if (!published_.hasDevice(key.intfId) || Published::isRefused(key, deprecated)) {
        return;
    }
    Place const place(key);
    if (table_->intfAddrEntryHas(place.content)) {
        return;
    }
    auto const standing = standingOf(*table_, place);
    bool const isHeld = standing.conflict != Standing::Conflict::none;
    if ((isHeld && waits(key)) || (place.isV6LinkLocal() && standing.row && !isHeld)) {
        return;
    }
    // Its interface may have been replaced since the walk over its addresses began.
    if (published_.deprecated(key)) {
        found({.addr = key.addrWithMask,
               .intf = key.intfId,
               .kind = waits(key) ? Kind::freeAddressWaits : Kind::lostAddress});
    }
}

void Audit::checkWaiting(IpLib::IntfAddrWithMaskKey const& key) {
    if (!published_.deprecated(key) && !isCleanupPending(key.intfId, key.addrWithMask.family())) {
        found({.addr = key.addrWithMask, .intf = key.intfId, .kind = Kind::unpublishedWaits});
    }
}

void Audit::checkCleanup(IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry const& cleanup) {
    Zin::Seconds const overdue =
        cleanup.emplacementTime() + std::max(machine_->smConfig().intfCleanupDelay, 0.0) + 1.0;
    if (now() > overdue) {
        Nimb::IpGenAddr const any = cleanup.af() == Nimb::AddressFamily::ipv4
                                        ? Nimb::IpGenAddr(Nimb::Ip4Addr())
                                        : Nimb::IpGenAddr(Nimb::Ip6Addr());
        found({.addr = {any, 0}, .intf = cleanup.intfId(), .kind = Kind::overdueCleanup});
    } else {
        nextOverdue_ = std::min(nextOverdue_, overdue);
    }
}

void Audit::checkVirtual(Nimb::IpGenAddr const& addr) {
    auto const row = AddressPlacement::virtualRow(addr);
    if (!table_->intfAddrEntryHas(row) || !table_->intfAddrEntryFromAddrHas(row.key)) {
        found({.addr = {addr, Nimb::maxPrefixLength(addr.family())},
               .intf = {},
               .kind = Kind::lostVirtual});
    }
}

bool Audit::isRow(IntfAddrEntry const& row) const {
    return table_->intfAddrEntryHas(row.content());
}

bool Audit::isCleanupPending(IntfAddrEntry const& row) const {
    return isCleanupPending(row.intfId(), row.key().addr.family());
}

bool Audit::isCleanupPending(Nimb::IntfId const& intf, Nimb::AddressFamily af) const {
    return machine_ && machine_->intfCleanupBacklog() &&
           machine_->intfCleanupBacklog()->hasBacklog(intf, af);
}

bool Audit::waits(IpLib::IntfAddrWithMaskKey const& key) const {
    return machine_ && machine_->deferredIntfAddBacklog() &&
           machine_->deferredIntfAddBacklog()->backlogHas(key);
}

Zin::Seconds Audit::now() const { return router_.scheduler()->now(); }

void Audit::found(Fault const& fault) { faults_.found(fault, now()); }

void Audit::found(Kind kind, IntfAddrEntry const& row) {
    found({.addr = {row.key().addr, row.key().virtualIp
                                        ? Nimb::maxPrefixLength(row.key().addr.family())
                                        : row.subnet().prefixLength()},
           .intf = row.intfId(),
           .kind = kind});
}

}  // namespace Routing
