#include "IpLib/IntfAddrVrfTableSm/Ip6IntfStatusSm.h"

#include <utility>

#include "Velk/Dump.h"
#include "Zin/ForEachKey.h"
#include "Zin/Turn.h"

namespace IpLib::IntfAddrVrfTableImpl {
Ip6IntfStatusSm::Ip6IntfStatusSm(Zin::Ptr<Ip6::IntfStatus const> ip6IntfStatus,
                                 Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
                                 Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask)
    : afIntfStatusParent_(std::move(afIntfStatusParent)),
      allIntfAddrWithMask_(std::move(allIntfAddrWithMask)),
      reactor_(*this, std::move(ip6IntfStatus)) {}

Nimb::IntfId const& Ip6IntfStatusSm::intfId() const {
    if (auto const& status = ip6IntfStatus()) {
        return status->intfId();
    }
    static Nimb::IntfId const none;
    return none;
}

bool Ip6IntfStatusSm::builtFrom(Zin::Ptr<Ip6::IntfStatus const> const& ip6IntfStatus,
                                Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent,
                                Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask) const {
    return reactor_.notifier() == ip6IntfStatus && afIntfStatusParent_ == afIntfStatusParent &&
           allIntfAddrWithMask_ == allIntfAddrWithMask;
}

void Ip6IntfStatusSm::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    reactor_.hasNotificationActiveIs(active);
}

void Ip6IntfStatusSm::handleInitialized() {
    trace8("on {}", intfId());
    afIntfStatusParent_->processPendingDeferredCleanup(intfId(), Nimb::AddressFamily::ipv6);
    handleAllAddr();
}

void Ip6IntfStatusSm::handleAllAddr() {
    if (retired()) {
        return;
    }
    trace8("on {}", intfId());
    Zin::forEachKey(ip6IntfStatus()->addr(),
                    [this](auto const& addrWithMask) { handleAddr(addrWithMask); });
}

void Ip6IntfStatusSm::handleAddr(Nimb::Ip6AddrWithMask const& addrWithMask) {
    if (retired()) {
        return;
    }
    auto const* const info = ip6IntfStatus()->addr().find(addrWithMask);
    bool const isPresent = info != nullptr;
    bool const isDeprecated = isPresent && info->deprecated;
    trace8("{} on {} isPresent {} isDeprecated {}", addrWithMask, intfId(), isPresent,
           isDeprecated);
    IntfAddrWithMask const record({intfId(), addrWithMask}, isDeprecated);
    if (isPresent) {
        allIntfAddrWithMask_->allIs(record);
    } else {
        allIntfAddrWithMask_->allDel(record.key());
    }
}

void Ip6IntfStatusSm::handleDestruction() {
    trace8("on {}", intfId());
    Zin::Turn turn;
    turn.run(
        [this] { afIntfStatusParent_->addDeferredCleanup(intfId(), Nimb::AddressFamily::ipv6); });
    for (auto const& addr : ip6IntfStatus()->addr()) {
        turn.run([&] { allIntfAddrWithMask_->allDel({intfId(), addr.key}); });
    }
    // An observer of the status that is older than this machine may have taken the status away when
    // an address left it, of which this machine has not been told.
    for (auto const& key : allIntfAddrWithMask_->keysOf({intfId(), Nimb::AddressFamily::ipv6})) {
        turn.run([&] { allIntfAddrWithMask_->allDel(key); });
    }
}

void Ip6IntfStatusSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                std::uint32_t indent) const {
    auto const& addrs = ip6IntfStatus()->addr();
    Velk::dumpLine(context, indent, "Ip6IntfStatus intfId={}\n", intfId());
    Velk::dumpLine(context, indent, "addr count {}\n", addrs.size());
    Velk::dumpList(context, indent, addrs, addrs.size(), [&](auto const& member) {
        Velk::dumpLine(context, indent, "{}\n", member.key);
    });
}

Zin::Ptr<Ip6IntfStatusSm> ip6IntfStatusSmFactory(
    Zin::Ptr<Ip6::IntfStatus const> ip6IntfStatus,
    Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask) {
    return Zin::make<Ip6IntfStatusSm>(std::move(ip6IntfStatus), std::move(afIntfStatusParent),
                                      std::move(allIntfAddrWithMask));
}

}  // namespace IpLib::IntfAddrVrfTableImpl
