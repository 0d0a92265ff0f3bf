#include "router/repair/Audit.h"

#include <algorithm>
#include <optional>
#include <utility>

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
      now_(router.scheduler()->now()),
      published_(router.published(vrf_)),
      table_(router.table(vrf_)),
      machine_(router.tableSm(vrf_)) {
    walk(table_, table_->intfAddrEntry(), [this](auto const& member) { checkRow(*member.value); });
    walk(table_, table_->intfAddrEntryFromAddr(),
         [this](auto const& member) { checkAddressEntry(member.key, *member.value); });
    walk(table_, table_->intfAddrEntrySetFromSubnet(),
         [this](auto const& member) { checkSet(member.key, member.value); });
    walk(table_, table_->llIntfAddrEntryFromIntfId(),
         [this](auto const& member) { checkLinkLocalEntry(member.key, *member.value); });
    if (auto const status = published_.ipStatus()) {
        walk(status, status->ipIntfStatus(), [this](auto const& intf) {
            Zin::Ptr<Ip::IpIntfStatus> const alive = intf.value;
            if (Published::hasPrimary(*alive)) {
                checkPublished({alive->intfId(), alive->activeAddrWithMask()}, false);
            }
            walk(alive, alive->secondaryActiveAddrWithMask(),
                 [this, intfId = alive->intfId()](auto const& addr) {
                     checkPublished({intfId, addr.key}, false);
                 });
        });
    }
    if (auto const status = published_.ip6Status()) {
        walk(status, status->intfStatus(), [this](auto const& intf) {
            Zin::Ptr<Ip6::IntfStatus> const alive = intf.value;
            walk(alive, alive->addr(), [this, intfId = alive->intfId()](auto const& addr) {
                checkPublished({intfId, addr.key}, addr.value.deprecated);
            });
        });
    }
    auto const& virtualIp = router.inputs().virtualIpStatus();
    walk(virtualIp, virtualIp->virtualIp(), [this](auto const& member) {
        if (member.key.vrfName() == vrf_) {
            checkVirtual(member.key.addrWithMask().address());
        }
    });
    auto const& virtualIp6 = router.inputs().virtualIp6Status();
    walk(virtualIp6, virtualIp6->virtualIp6(), [this](auto const& member) {
        if (member.key.vrfName() == vrf_) {
            checkVirtual(member.key.addr());
        }
    });
    if (machine_ && machine_->deferredIntfAddBacklog()) {
        auto const& backlog = machine_->deferredIntfAddBacklog();
        walk(backlog, backlog->backlog(), [this](auto const& member) { checkWaiting(member.key); });
    }
    if (machine_ && machine_->intfCleanupBacklog()) {
        auto const& backlog = machine_->intfCleanupBacklog();
        walk(backlog, backlog->backlog(),
             [this](auto const& member) { checkCleanup(*member.value); });
    }
}

bool Audit::step() {
    if (work_.empty()) {
        return false;
    }
    auto const at = work_.size() - 1;
    if (!work_[at]()) {
        work_.pop_back();  // it has left nothing else to do
    }
    return !work_.empty();
}

template <class Alive, class Map, class Check>
void Audit::walk(Alive alive, Map const& map, Check check) {
    // Between steps it stands on what was looked at last, which may leave meanwhile.
    work_.push_back([alive = std::move(alive), &map,
                     at = std::optional<typename Map::ConstIterator>(),
                     check = std::move(check)]() mutable {
        if (at) {
            ++*at;
        } else {
            at = map.begin();
        }
        if (*at == map.end()) {
            return false;
        }
        check(**at);
        return true;
    });
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
        (row.key().addr.isV6LinkLocal() && published_.hasLinkLocal(row.intfId(), row.key().addr));
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
        faults_.found({.addr = {subnet.address(), subnet.prefixLength()},
                       .intf = set->intfId(),
                       .kind = Kind::emptySet},
                      now_);
        return;
    }
    auto const checkMember = [this, set, subnet](auto const& member) {
        IntfAddrEntry const& row = *member.value;
        bool const isInTable = table_->intfAddrEntrySetFromSubnet(subnet) == set;  // still
        if (isInTable && (!isRow(row) || row.subnet() != subnet || row.intfId() != set->intfId())) {
            found(Kind::wrongSet, row);
        }
    };
    walk(set, set->intfAddrEntry(), checkMember);
    walk(set, set->deprecatedIntfAddrEntry(), checkMember);
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
        faults_.found({.addr = key.addrWithMask,
                       .intf = key.intfId,
                       .kind = waits(key) ? Kind::freeAddressWaits : Kind::lostAddress},
                      now_);
    }
}

void Audit::checkWaiting(IpLib::IntfAddrWithMaskKey const& key) {
    if (!published_.deprecated(key) && !isCleanupPending(key.intfId, key.addrWithMask.family())) {
        faults_.found(
            {.addr = key.addrWithMask, .intf = key.intfId, .kind = Kind::unpublishedWaits}, now_);
    }
}

void Audit::checkCleanup(IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry const& cleanup) {
    Zin::Seconds const overdue =
        cleanup.emplacementTime() + std::max(machine_->smConfig().intfCleanupDelay, 0.0) + 1.0;
    if (now_ > overdue) {
        Nimb::IpGenAddr const any = cleanup.af() == Nimb::AddressFamily::ipv4
                                        ? Nimb::IpGenAddr(Nimb::Ip4Addr())
                                        : Nimb::IpGenAddr(Nimb::Ip6Addr());
        faults_.found({.addr = {any, 0}, .intf = cleanup.intfId(), .kind = Kind::overdueCleanup},
                      now_);
    } else {
        nextOverdue_ = std::min(nextOverdue_, overdue);
    }
}

void Audit::checkVirtual(Nimb::IpGenAddr const& addr) {
    auto const row = AddressPlacement::virtualRow(addr);
    if (!table_->intfAddrEntryHas(row) || !table_->intfAddrEntryFromAddrHas(row.key)) {
        faults_.found({.addr = {addr, Nimb::maxPrefixLength(addr.family())},
                       .intf = {},
                       .kind = Kind::lostVirtual},
                      now_);
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

void Audit::found(Kind kind, IntfAddrEntry const& row) {
    faults_.found({.addr = {row.key().addr, row.key().virtualIp
                                                ? Nimb::maxPrefixLength(row.key().addr.family())
                                                : row.subnet().prefixLength()},
                   .intf = row.intfId(),
                   .kind = kind},
                  now_);
}

}  // namespace Routing
