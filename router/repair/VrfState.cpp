#include "router/repair/VrfState.h"

#include <algorithm>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSm/Place.h"
#include "router/repair/Succession.h"

namespace Routing {

using IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry;
using IpLib::IntfAddrVrfTableImpl::Place;

namespace {

// The waiting are tried in two passes at most, one delay apart; after these nobody tries.
constexpr double passesUntilIdle = 2;

Zin::Ptr<IpLib::IntfAddrVrfTable> tableOf(Router const& router, L3::VrfName const& vrf) {
    auto table = router.tables()->intfAddrVrfTable(vrf);
    return table ? table : IpLib::intfAddrVrfTableFactory();
}

}  // namespace

VrfState::VrfState(Router const& router, L3::VrfName vrf, Times times, Write write)
    : router_(router),
      vrf_(std::move(vrf)),
      write_(std::move(write)),
      published_(router.published(vrf_)),
      table_(tableOf(router, vrf_)),
      origin_(now()) {
    auto const machine = router_.tableSm(vrf_);
    if (!machine) {
        return;
    }
    waiting_ = machine->deferredIntfAddBacklog();
    if (times == Times::left) {
        return;
    }
    leaving_ = machine->intfCleanupBacklog();
    if (leaving_ && leaving_->backlog().size() > 0) {
        origin_ = std::min(origin_, (*leaving_->backlog().begin()).value->emplacementTime());
    }
    Zin::Seconds const delay = machine->smConfig().deferredIntfAddDelay;
    auto const tries = machine->deferredIntfAddSm();
    bool const isDue = tries && tries->task() && tries->task()->taskScheduled();
    cameToWait_ = isDue ? std::min(now(), tries->task()->currentExpirationTime() - delay)
                        : now() - (passesUntilIdle + 1) * delay;
    if (waiting_ && waiting_->backlog().size() > 0) {
        origin_ = std::min(origin_, cameToWait_);
    }
}

std::vector<VrfState::Phase> const& VrfState::phases() {
    // A list is walked from its beginning, and rows before what waits for them.
    static std::vector<Phase> const all{
        &VrfState::devices,
        &VrfState::interfaces,
        &VrfState::rows,
        &VrfState::subnetsOfOwners,
        &VrfState::otherRows,
        &VrfState::virtualAddresses,
        &VrfState::waitingThatLeftBefore,
        &VrfState::cleanUpsBeforeTheWait,
        &VrfState::waiting,
        &VrfState::cleanUpsSince,
        &VrfState::rest,
    };
    return all;
}

bool VrfState::step() {
    if (steps_.step()) {
        return true;
    }
    if (phase_ == phases().size()) {
        elapsed_ = now() - origin_;
        return false;
    }
    (this->*phases()[phase_++])();
    return true;
}

void VrfState::devices() {
    if (table_ == router_.tables()->intfAddrVrfTable(vrf_)) {
        write(TableAdd{vrf_});
    }
    auto const dir = router_.inputs().kniIntfStatusHelper()->deviceIntfStatusDir(vrf_);
    steps_.walkPresent(dir, dir->deviceIntfStatus(), [this](auto const& member) {
        auto const& device = *member.value;
        write(KernelAdd{vrf_,
                        member.key,
                        {.deviceName = device.deviceName(),
                         .ifIndex = device.ifIndex(),
                         .operStatus = device.operStatus(),
                         .active = device.active()}});
    });
    if (leaving_) {
        steps_.walkPresent(leaving_, leaving_->backlog(), [this](auto const& member) {
            auto const& intf = member.key.intfId;
            if (!published_.hasDevice(intf) && goneDevices_.insert(intf).second) {
                write(KernelAdd{vrf_, intf, {.deviceName = std::string(intf.name())}});
            }
        });
    }
}

void VrfState::interfaces() {
    auto const ip = published_.ipStatus();
    auto const ip6 = published_.ip6Status();
    bool const leaves = leaving_ && leaving_->backlog().size() > 0;
    if (ip || leaves) {
        write(IpVrfAdd{vrf_});
    }
    if (ip6 || leaves) {
        write(Ip6VrfAdd{vrf_});
    }
    if (ip) {
        steps_.walkPresent(ip, ip->ipIntfStatus(), [this](auto const& member) {
            Ip::IpIntfStatus const& intf = *member.value;
            IpIntf addressing{.unnumberedSource = intf.unnumberedIntfId()};
            if (!Published::hasPrimary(intf)) {
                addressing.primary = intf.activeAddrWithMask();
            }
            write(IpIntfAdd{vrf_, member.key, addressing});
        });
    }
    if (ip6) {
        steps_.walkPresent(ip6, ip6->intfStatus(), [this](auto const& member) {
            write(Ip6IntfAdd{vrf_, member.key, {}});
        });
    }
    if (leaves) {
        steps_.walkPresent(leaving_, leaving_->backlog(), [this](auto const& member) {
            auto const& [intf, family] = member.key;
            if (!hasStatus(member.key)) {
                write(family == Nimb::AddressFamily::ipv4 ? Operation(IpIntfAdd{vrf_, intf, {}})
                                                          : Operation(Ip6IntfAdd{vrf_, intf, {}}));
            }
        });
    }
}

void VrfState::rows() {
    steps_.walkPresent(table_, table_->intfAddrEntry(), [this](auto const& member) {
        IpLib::IntfAddrEntry const& row = *member.value;
        auto const written = row.key().virtualIp ? std::nullopt : writtenAs(row);
        if (!written) {
            return;
        }
        auto const& [key, deprecated] = *written;
        if (standsInItsPlace(*table_, row)) {
            writeAddress(key, deprecated);
        } else {
            others_.push_back(*written);
            subnetsOfOthers_.insert(row.subnet());
        }
    });
}

void VrfState::subnetsOfOwners() {
    if (others_.empty()) {
        return;
    }
    forEachPublished([this](Key const& key, bool deprecated) {
        Place const place(key);
        auto const set = table_->intfAddrEntrySetFromSubnet(place.subnet());
        bool const isItsOwn = set && set->intfId() == key.intfId && !key.isV6LinkLocal();
        if (isItsOwn && !table_->intfAddrEntry().contains(place.content) &&
            published_.hasDevice(key.intfId) &&
            (!isWaiting(key) || subnetsOfOthers_.contains(place.subnet()))) {
            early_.insert(key);
            writeAddress(key, deprecated);
        }
    });
}

void VrfState::otherRows() {
    for (auto const& [key, deprecated] : others_) {
        writeAddress(key, deprecated);
    }
}

void VrfState::virtualAddresses() {
    auto const ip = router_.inputs().virtualIpStatus();
    steps_.walkPresent(ip, ip->virtualIp(), [this](auto const& member) {
        if (member.key.vrfName() == vrf_) {
            write(VipAdd{vrf_, member.key.addrWithMask()});
        }
    });
    auto const ip6 = router_.inputs().virtualIp6Status();
    steps_.walkPresent(ip6, ip6->virtualIp6(), [this](auto const& member) {
        if (member.key.vrfName() == vrf_) {
            write(Vip6Add{vrf_, member.key.addr()});
        }
    });
}

void VrfState::waitingThatLeftBefore() {
    if (!waiting_ || !leaving_) {
        return;
    }
    steps_.walkPresent(waiting_, waiting_->backlog(), [this](auto const& member) {
        if (isWaiting(member.key) && leftBeforeTheWait(member.key)) {
            writeAddress(member.key, published_.deprecated(member.key).value_or(false));
        }
    });
}

void VrfState::cleanUpsBeforeTheWait() {
    cleanUps([](Zin::Seconds since, Zin::Seconds cameToWait) { return since < cameToWait; });
}

void VrfState::cleanUpsSince() {
    cleanUps([](Zin::Seconds since, Zin::Seconds cameToWait) { return since >= cameToWait; });
}

void VrfState::cleanUps(bool (*isMeant)(Zin::Seconds since, Zin::Seconds cameToWait)) {
    if (!leaving_) {
        return;
    }
    steps_.walkPresent(leaving_, leaving_->backlog(), [this, isMeant](auto const& member) {
        if (isMeant(member.value->emplacementTime(), cameToWait_)) {
            cleanUp(*member.value);
        }
    });
}

void VrfState::cleanUp(IntfCleanupEntry const& entry) {
    Nimb::IntfId const& intf = entry.intfId();
    at_ = entry.emplacementTime() - origin_;
    bool const isIp = entry.af() == Nimb::AddressFamily::ipv4;
    // Its status has gone, or its device, which takes what is left of the other family too.
    bool const hasItsStatus = hasStatus(entry.key());
    if (!hasItsStatus) {
        write(isIp ? Operation(IpIntfDel{vrf_, intf}) : Operation(Ip6IntfDel{vrf_, intf}));
    }
    auto const other =
        leaving_->getBacklog(intf, isIp ? Nimb::AddressFamily::ipv6 : Nimb::AddressFamily::ipv4);
    bool const isLast = !other || other->emplacementTime() <= entry.emplacementTime();
    if ((hasItsStatus || isLast) && goneDevices_.erase(intf) > 0) {
        write(KernelDel{vrf_, intf});
    }
    if (!hasItsStatus) {
        return;
    }
    for (auto const& [_, addr] : withdrawn_[entry.key()]) {
        Nimb::IpGenAddr const& bare = addr.address();
        write(isIp ? Operation(IpSecondaryDel{vrf_, intf, {bare.ip4(), addr.prefixLength()}})
                   : Operation(Ip6AddrDel{vrf_, intf, {bare.ip6(), addr.prefixLength()}}));
    }
}

void VrfState::waiting() {
    if (!waiting_) {
        return;
    }
    if (leaving_ && waiting_->backlog().size() > 0) {
        at_ = std::max(0.0, cameToWait_ - origin_);
    }
    steps_.walkPresent(waiting_, waiting_->backlog(), [this](auto const& member) {
        if (isWaiting(member.key) && !leftBeforeTheWait(member.key) &&
            !early_.contains(member.key)) {
            writeAddress(member.key, published_.deprecated(member.key).value_or(false));
        }
    });
}

void VrfState::rest() {
    forEachPublished([this](Key const& key, bool deprecated) {
        Place const place(key);
        auto const* const row = table_->intfAddrEntry().find(place.content);
        bool const isWritten = (row && writtenAs(**row) == std::pair(key, deprecated)) ||
                               isWaiting(key) || early_.contains(key);
        if (!isWritten) {
            writeAddress(key, deprecated);
        }
    });
}

void VrfState::forEachPublished(Each const& each) {
    if (auto const ip6 = published_.ip6Status()) {
        steps_.walkPresent(ip6, ip6->intfStatus(), [this, each](auto const& member) {
            auto const intf = member.value;
            steps_.walkPresent(intf, intf->addr(), [each, intf](auto const& addr) {
                each(Key{intf->intfId(), addr.key}, addr.value.deprecated);
            });
        });
    }
    if (auto const ip = published_.ipStatus()) {
        steps_.walkPresent(ip, ip->ipIntfStatus(), [this, each](auto const& member) {
            auto const intf = member.value;
            if (Published::hasPrimary(*intf)) {
                each(Key{intf->intfId(), intf->activeAddrWithMask()}, false);
            }
            steps_.walkPresent(intf, intf->secondaryActiveAddrWithMask(),
                               [each, intf](auto const& addr) {
                                   each(Key{intf->intfId(), addr.key}, false);
                               });
        });
    }
}

std::optional<std::pair<VrfState::Key, bool>> VrfState::writtenAs(
    IpLib::IntfAddrEntry const& row) const {
    Key const key{row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
    bool const leaves = isLeaving(key.intfId, key.addrWithMask.family());
    if (!published_.hasDevice(key.intfId) && !leaves) {
        return std::nullopt;
    }
    if (auto const found = publishedAs(published_, key)) {
        return found;
    }
    if (!leaves) {
        return std::nullopt;
    }
    auto const set = table_->intfAddrEntrySetFromSubnet(row.subnet());
    return std::pair(key, set && set->deprecatedIntfAddrEntryHas(row.key()));
}

bool VrfState::hasStatus(IpLib::IntfFamily const& intfFamily) const {
    if (intfFamily.af == Nimb::AddressFamily::ipv4) {
        auto const status = published_.ipStatus();
        return status && status->ipIntfStatus(intfFamily.intfId);
    }
    auto const status = published_.ip6Status();
    return status && status->intfStatus(intfFamily.intfId);
}

bool VrfState::isLeaving(Nimb::IntfId const& intf, Nimb::AddressFamily family) const {
    return leaving_ && leaving_->hasBacklog(intf, family);
}

bool VrfState::leftBeforeTheWait(Key const& key) const {
    auto const entry =
        leaving_ ? leaving_->getBacklog(key.intfId, key.addrWithMask.family()) : nullptr;
    return entry && entry->emplacementTime() < cameToWait_;
}

bool VrfState::isWaiting(Key const& key) const {
    if (!waiting_ || !waiting_->backlogHas(key)) {
        return false;
    }
    auto const deprecated = published_.deprecated(key);
    return isLeaving(key.intfId, key.addrWithMask.family()) ||
           (deprecated && published_.hasDevice(key.intfId) &&
            !Published::isRefused(key, *deprecated));
}

void VrfState::write(Operation operation) {
    write_({.at = std::exchange(at_, std::nullopt), .operation = std::move(operation)});
}

void VrfState::writeAddress(Key const& key, bool deprecated) {
    auto const& [intf, addr] = key;
    if (!published_.deprecated(key)) {
        withdrawn_[{intf, addr.family()}].push_back(key);
    }
    if (addr.family() == Nimb::AddressFamily::ipv6) {
        Nimb::Ip6AddrWithMask const address(addr.address().ip6(), addr.prefixLength());
        write(Ip6AddrSet{vrf_, intf, {.addr = address, .deprecated = deprecated}});
        return;
    }
    Nimb::IpAddrWithMask const address(addr.address().ip4(), addr.prefixLength());
    auto const vrfStatus = published_.ipStatus();
    auto const status = vrfStatus ? vrfStatus->ipIntfStatus(intf) : nullptr;
    bool const isPrimary =
        status && Published::hasPrimary(*status) && status->activeAddrWithMask() == address;
    if (isPrimary) {
        write(IpPrimaryIs{vrf_, intf, address});
    }
    if (!isPrimary || status->secondaryActiveAddrWithMaskHas(address)) {
        write(IpSecondaryAdd{vrf_, intf, address});
    }
}

}  // namespace Routing
