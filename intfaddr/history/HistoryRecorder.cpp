#include "intfaddr/history/HistoryRecorder.h"

#include <utility>
#include <variant>

namespace IntfAddr {

namespace {

using Nimb::AddressFamily;

IpLib::IntfAddrWithMaskKey keyOf(IpLib::IntfAddrEntryContent const& row) {
    return {.intfId = row.intfId, .addrWithMask = {row.key.addr, row.subnet.prefixLength()}};
}

bool isUp(bool active, Interface::OperStatus status) {
    return active &&
           (status == Interface::OperStatus::up || status == Interface::OperStatus::unknown);
}

bool isIp6(IpLib::IntfFamily const& whose) { return whose.af == AddressFamily::ipv6; }

}  // namespace

HistoryRecorder::HistoryRecorder(Routing::Router& router,
                                 Zin::Ptr<Routing::TableFollower const> follower,
                                 AddressHistory::Options const& options)
    : router_(router), history_(options), backlogs_(router, *this) {
    notifierIs(std::move(follower));
}

HistoryRecorder::~HistoryRecorder() { router_.inputs().effects().observerDel(*this); }

void HistoryRecorder::begin() {
    hasBegun_ = true;
    history_.beginsAt(now());
    backlogs_.begin();
    router_.inputs().effects().observerAdd(*this);
}

void HistoryRecorder::catchUp() {
    if (hasBegun_) {
        backlogs_.catchUp();
    }
}

void HistoryRecorder::handleKernel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                   Netlink::Change const& change, Zin::Seconds now) {
    auto const* const is = std::get_if<Netlink::AddressIs>(&change);
    auto const* const gone = std::get_if<Netlink::AddressGone>(&change);
    if (!hasBegun_ || (!is && !gone)) {
        return;
    }
    Netlink::Address const& address = is ? is->address : gone->address;
    history_.add(vrf, address.local,
                 {.at = now,
                  .kind = is ? Kind::toldThere : Kind::toldGone,
                  .marks = {.secondary = address.secondary,
                            .deprecated = address.deprecated,
                            .tentative = address.tentative,
                            .optimistic = address.optimistic,
                            .duplicate = address.dadFailed},
                  .prefixLength = address.withMask().prefixLength(),
                  .intf = intf});
}

void HistoryRecorder::handleRepair(Routing::Repair const& repair,
                                   std::vector<IpLib::IntfAddrEntryContent> const& added,
                                   std::vector<IpLib::IntfAddrEntryContent> const& removed) {
    if (!hasBegun_) {
        return;
    }
    for (auto const* const rows : {&removed, &added}) {
        for (auto const& row : *rows) {
            history_.add(repair.vrf, row.key.addr,
                         {.at = repair.at,
                          .kind = Kind::rebuilt,
                          .marks = {.virtualIp = row.key.virtualIp},
                          .prefixLength = row.subnet.prefixLength(),
                          .intf = row.intfId,
                          .why = repair.why});
        }
    }
}

void HistoryRecorder::handleOperation(Routing::Operation const& operation) {
    backlogs_.catchUp();
    if (!router_.inputs().isSet(operation)) {
        std::visit([this](auto const& op) { handle(op); }, operation);
    }
}

// Where a machine comes or goes, so do those that it has wait.
void HistoryRecorder::handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) {
    if (hasBegun_) {
        backlogs_.touch(vrf);
    }
}

void HistoryRecorder::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                                bool present) {
    bool const isNews = present ? since_.come(vrf, row, now()) : since_.gone(vrf, row);
    if (!hasBegun_ || !isNews) {
        return;
    }
    if (!row.key.virtualIp) {
        backlogs_.handleRow(vrf, keyOf(row), present);
    }
    history_.add(vrf, row.key.addr,
                 {.at = now(),
                  .kind = present ? Kind::admitted : Kind::left,
                  .marks = {.virtualIp = row.key.virtualIp},
                  .prefixLength = row.subnet.prefixLength(),
                  .intf = row.intfId});
}

void HistoryRecorder::handleDeferred(L3::VrfName const& vrf, IpLib::IntfAddrWithMaskKey const& key,
                                     bool waits, Zin::Seconds at) {
    history_.add(vrf, key.addrWithMask.address(),
                 {.at = at,
                  .kind = waits ? Kind::deferred : Kind::deferredNoMore,
                  .prefixLength = key.addrWithMask.prefixLength(),
                  .intf = key.intfId,
                  .holder = waits ? Routing::holderOf(*router_.table(vrf), key) : std::nullopt});
}

void HistoryRecorder::handleCleanup(L3::VrfName const& vrf, IpLib::IntfFamily const& whose,
                                    bool waits, Zin::Seconds at) {
    history_.addOfInterface(vrf, {.at = at,
                                  .kind = waits ? Kind::cleanupPending : Kind::cleanedUp,
                                  .marks = {.ipv6 = isIp6(whose)},
                                  .intf = whose.intfId});
}

void HistoryRecorder::handle(Routing::IpIntfAdd const& op) {
    IpLib::IntfFamily const whose{op.intf, AddressFamily::ipv4};
    if (ipIntf(op.vrf, op.intf)) {
        noteIntf(op.vrf, whose, Kind::statusWent);
    }
    noteIntf(op.vrf, whose, Kind::statusCame);
    if (op.addressing.unnumberedSource.empty()) {
        primaryChanges(op.vrf, op.intf, {}, op.addressing.primary);
    }
    for (auto const& addr : op.addressing.secondary) {
        note(op.vrf, op.intf, addr, Kind::published, {.secondary = true});
    }
}

void HistoryRecorder::handle(Routing::IpIntfDel const& op) {
    noteIntf(op.vrf, {op.intf, AddressFamily::ipv4}, Kind::statusWent);
}

void HistoryRecorder::handle(Routing::Ip6IntfAdd const& op) {
    IpLib::IntfFamily const whose{op.intf, AddressFamily::ipv6};
    if (hasIp6Intf(op.vrf, op.intf)) {
        noteIntf(op.vrf, whose, Kind::statusWent);
    }
    noteIntf(op.vrf, whose, Kind::statusCame);
    for (auto const& [addr, deprecated] : op.addrs) {
        note(op.vrf, op.intf, addr, Kind::published, {.deprecated = deprecated});
    }
}

void HistoryRecorder::handle(Routing::Ip6IntfDel const& op) {
    noteIntf(op.vrf, {op.intf, AddressFamily::ipv6}, Kind::statusWent);
}

void HistoryRecorder::handle(Routing::IpPrimaryIs const& op) {
    auto const status = ipIntf(op.vrf, op.intf);
    if (status && status->unnumberedIntfId().empty()) {
        primaryChanges(op.vrf, op.intf, status->activeAddrWithMask(), op.addr);
    }
}

void HistoryRecorder::handle(Routing::IpUnnumberedIs const& op) {
    auto const status = ipIntf(op.vrf, op.intf);
    if (!status || status->unnumberedIntfId().empty() == op.source.empty()) {
        return;
    }
    auto const& addr = status->activeAddrWithMask();
    if (op.source.empty()) {
        primaryChanges(op.vrf, op.intf, {}, addr);
    } else {
        primaryChanges(op.vrf, op.intf, addr, {});
    }
}

void HistoryRecorder::handle(Routing::IpSecondaryAdd const& op) {
    note(op.vrf, op.intf, op.addr, Kind::published, {.secondary = true});
}

void HistoryRecorder::handle(Routing::IpSecondaryDel const& op) {
    note(op.vrf, op.intf, op.addr, Kind::withdrawn, {.secondary = true});
}

void HistoryRecorder::handle(Routing::Ip6AddrSet const& op) {
    note(op.vrf, op.intf, op.addr.addr, Kind::published, {.deprecated = op.addr.deprecated});
}

void HistoryRecorder::handle(Routing::Ip6AddrDel const& op) {
    note(op.vrf, op.intf, op.addr, Kind::withdrawn, {});
}

void HistoryRecorder::handle(Routing::KernelAdd const& op) {
    auto const before =
        router_.inputs().kniIntfStatusHelper()->deviceIntfStatusDir(op.vrf)->deviceIntfStatus(
            op.intf);
    bool const goesUp = isUp(op.kernelIntf.active, op.kernelIntf.operStatus);
    if (!before) {
        noteDevice(op.vrf, op.intf, Kind::deviceCame);
    } else if (goesUp != isUp(before->active(), before->operStatus())) {
        noteDevice(op.vrf, op.intf, goesUp ? Kind::deviceUp : Kind::deviceDown);
    } else {
        touchDevice(op.vrf, op.intf);
    }
}

void HistoryRecorder::handle(Routing::KernelDel const& op) {
    noteDevice(op.vrf, op.intf, Kind::deviceWent);
}

void HistoryRecorder::handle(Routing::VipAdd const& op) {
    noteVirtual(op.vrf, op.addr.address(), Kind::published);
}
void HistoryRecorder::handle(Routing::VipDel const& op) {
    noteVirtual(op.vrf, op.addr.address(), Kind::withdrawn);
}
void HistoryRecorder::handle(Routing::Vip6Add const& op) {
    noteVirtual(op.vrf, op.addr, Kind::published);
}
void HistoryRecorder::handle(Routing::Vip6Del const& op) {
    noteVirtual(op.vrf, op.addr, Kind::withdrawn);
}

void HistoryRecorder::ipVrfGoes(L3::VrfName const& vrf) {
    if (auto const status = router_.inputs().ipStatus()->vrfIpIntfStatus(vrf)) {
        for (auto const& member : status->ipIntfStatus()) {
            noteIntf(vrf, {member.key, AddressFamily::ipv4}, Kind::statusWent);
        }
    }
}

void HistoryRecorder::ip6VrfGoes(L3::VrfName const& vrf) {
    if (auto const status = router_.inputs().ip6Status()->vrfIp6IntfStatus(vrf)) {
        for (auto const& member : status->intfStatus()) {
            noteIntf(vrf, {member.key, AddressFamily::ipv6}, Kind::statusWent);
        }
    }
}

Zin::Ptr<Ip::IpIntfStatus> HistoryRecorder::ipIntf(L3::VrfName const& vrf,
                                                   Nimb::IntfId const& intf) const {
    auto const status = router_.inputs().ipStatus()->vrfIpIntfStatus(vrf);
    return status ? status->ipIntfStatus(intf) : nullptr;
}

bool HistoryRecorder::hasIp6Intf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const {
    auto const status = router_.inputs().ip6Status()->vrfIp6IntfStatus(vrf);
    return status && status->intfStatusHas(intf);
}

void HistoryRecorder::primaryChanges(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                     Nimb::IpAddrWithMask const& before,
                                     Nimb::IpAddrWithMask const& then) {
    if (before != Nimb::IpAddrWithMask()) {
        note(vrf, intf, before, Kind::withdrawn, {.primary = true});
    }
    if (then != Nimb::IpAddrWithMask()) {
        note(vrf, intf, then, Kind::published, {.primary = true});
    }
}

void HistoryRecorder::note(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                           Nimb::IpGenAddrWithMask const& addr, Kind kind, Marks marks) {
    history_.add(vrf, addr.address(),
                 {.at = now(),
                  .kind = kind,
                  .marks = marks,
                  .prefixLength = addr.prefixLength(),
                  .intf = intf});
    backlogs_.touch(vrf, IpLib::IntfAddrWithMaskKey{intf, addr});
}

void HistoryRecorder::noteVirtual(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr, Kind kind) {
    history_.add(vrf, addr, {.at = now(), .kind = kind, .marks = {.virtualIp = true}});
}

void HistoryRecorder::noteIntf(L3::VrfName const& vrf, IpLib::IntfFamily const& whose, Kind kind) {
    history_.addOfInterface(
        vrf, {.at = now(), .kind = kind, .marks = {.ipv6 = isIp6(whose)}, .intf = whose.intfId});
    backlogs_.touch(vrf, whose);
}

void HistoryRecorder::noteDevice(L3::VrfName const& vrf, Nimb::IntfId const& intf, Kind kind) {
    history_.addOfInterface(vrf, {.at = now(), .kind = kind, .intf = intf});
    touchDevice(vrf, intf);
}

void HistoryRecorder::touchDevice(L3::VrfName const& vrf, Nimb::IntfId const& intf) {
    backlogs_.touch(vrf, IpLib::IntfFamily{intf, AddressFamily::ipv4});
    backlogs_.touch(vrf, IpLib::IntfFamily{intf, AddressFamily::ipv6});
}

}  // namespace IntfAddr
