#include "IpLib/IntfAddrVrfTableSm/IpIntfStatusSm.h"

#include <utility>

#include "Tremlog/Record.h"
#include "Velk/Dump.h"
#include "Zin/ForEachKey.h"
#include "Zin/Turn.h"

namespace IpLib::IntfAddrVrfTableImpl {
IpIntfStatusSm::IpIntfStatusSm(Zin::Ptr<Ip::IpIntfStatus const> ipIntfStatus,
                               Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
                               Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask)
    : afIntfStatusParent_(std::move(afIntfStatusParent)),
      allIntfAddrWithMask_(std::move(allIntfAddrWithMask)),
      reactor_(*this, std::move(ipIntfStatus)) {}

Nimb::IntfId const& IpIntfStatusSm::intfId() const {
    if (auto const& status = ipIntfStatus()) {
        return status->intfId();
    }
    static Nimb::IntfId const none;
    return none;
}

bool IpIntfStatusSm::builtFrom(Zin::Ptr<Ip::IpIntfStatus const> const& ipIntfStatus,
                               Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent,
                               Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask) const {
    return reactor_.notifier() == ipIntfStatus && afIntfStatusParent_ == afIntfStatusParent &&
           allIntfAddrWithMask_ == allIntfAddrWithMask;
}

void IpIntfStatusSm::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    reactor_.hasNotificationActiveIs(active);
}

void IpIntfStatusSm::handleInitialized() {
    trace8("on {}", intfId());
    afIntfStatusParent_->processPendingDeferredCleanup(intfId(), Nimb::AddressFamily::ipv4);
    handlePrimaryAddr();
    handleAllSecondaryAddr();
}

void IpIntfStatusSm::handlePrimaryAddr() {
    if (retired()) {
        return;
    }
    trace8("{} on {} isUnnumbered {}", ipIntfStatus()->activeAddrWithMask(), intfId(),
           isUnnumbered());
    if (isPrimaryHandled()) {
        trace9("nothing changed on {}", intfId());
        return;
    }
    auto const shadow = std::exchange(maybeShadowPrimaryAddr_, std::nullopt);
    if (shadow && !maybeShadowIsUnnumbered_.value_or(false)) {
        allIntfAddrWithMask_->allDel(keyOf(*shadow));
    }
    // An observer of the row that left may have changed the primary once more, which came back
    // here.
    if (retired() || isPrimaryHandled()) {
        return;
    }
    maybeShadowPrimaryAddr_ = primary();
    maybeShadowIsUnnumbered_ = isUnnumbered();
    if (!maybeShadowPrimaryAddr_) {
        return;
    }
    if (isUnnumbered()) {
        // The interface that the address is borrowed from publishes it.
        auto const addr = ipIntfStatus()->activeAddrWithMask().address();
        Tremlog::record<"ignoring {} on unnumbered interface {}">(addr, intfId());
        trace3("ignoring {} on unnumbered interface {}", addr, intfId());
    } else {
        allIntfAddrWithMask_->allIs(IntfAddrWithMask(keyOf(*maybeShadowPrimaryAddr_)));
    }
}

std::optional<Nimb::IpGenAddrWithMask> IpIntfStatusSm::primary() const {
    auto const addr = ipIntfStatus()->activeAddrWithMask();
    return addr == Nimb::IpAddrWithMask() ? std::nullopt
                                          : std::optional<Nimb::IpGenAddrWithMask>(addr);
}

bool IpIntfStatusSm::isUnnumbered() const { return !ipIntfStatus()->unnumberedIntfId().empty(); }

bool IpIntfStatusSm::isPrimaryHandled() const {
    return maybeShadowPrimaryAddr_ == primary() &&
           maybeShadowIsUnnumbered_.value_or(false) == isUnnumbered();
}

void IpIntfStatusSm::handleSecondaryAddr(Nimb::IpAddrWithMask const& addrWithMask) {
    if (retired()) {
        return;
    }
    bool const isPresent = ipIntfStatus()->secondaryActiveAddrWithMaskHas(addrWithMask);
    trace8("{} isPresent {} on {}", addrWithMask, isPresent, intfId());
    IntfAddrWithMask const record(keyOf(addrWithMask));
    if (isPresent) {
        allIntfAddrWithMask_->allIs(record);
    } else {
        allIntfAddrWithMask_->allDel(record.key());
    }
}

void IpIntfStatusSm::handleAllSecondaryAddr() {
    if (retired()) {
        return;
    }
    trace8("on {}", intfId());
    Zin::forEachKey(ipIntfStatus()->secondaryActiveAddrWithMask(),
                    [this](auto const& addrWithMask) { handleSecondaryAddr(addrWithMask); });
}

void IpIntfStatusSm::handleDestruction() {
    trace8("on {}", intfId());
    Zin::Turn turn;
    turn.run(
        [this] { afIntfStatusParent_->addDeferredCleanup(intfId(), Nimb::AddressFamily::ipv4); });
    if (maybeShadowPrimaryAddr_ && !maybeShadowIsUnnumbered_.value_or(false)) {
        turn.run([this] { allIntfAddrWithMask_->allDel(keyOf(*maybeShadowPrimaryAddr_)); });
    }
    for (auto const& secondary : ipIntfStatus()->secondaryActiveAddrWithMask()) {
        turn.run([&] { allIntfAddrWithMask_->allDel(keyOf(secondary.key)); });
    }
    // An observer of the status that is older than this machine may have taken the status away when
    // an address left it, of which this machine has not been told.
    for (auto const& key : allIntfAddrWithMask_->keysOf({intfId(), Nimb::AddressFamily::ipv4})) {
        turn.run([&] { allIntfAddrWithMask_->allDel(key); });
    }
}

void IpIntfStatusSm::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                               std::uint32_t indent) const {
    auto const& status = *ipIntfStatus();
    auto const& secondaries = status.secondaryActiveAddrWithMask();
    Velk::dumpLine(context, indent, "IpIntfStatus intfId={}\n", intfId());
    if (maybeShadowPrimaryAddr_) {
        Velk::dumpLine(context, indent, "maybeShadowPrimaryAddr {}\n", *maybeShadowPrimaryAddr_);
    } else {
        Velk::dumpLine(context, indent, "maybeShadowPrimaryAddr <None>\n");
    }
    if (maybeShadowIsUnnumbered_) {
        Velk::dumpLine(context, indent, "maybeShadowIsUnnumbered {}\n", *maybeShadowIsUnnumbered_);
    } else {
        // Promised with its "m", unlike the other.
        Velk::dumpLine(context, indent, "maybeShadowIsUnnumbered <Nome>\n");
    }
    Velk::dumpLine(context, indent, "activeAddrWithMask {}\n", status.activeAddrWithMask());
    Velk::dumpLine(context, indent, "unnumberedIntfId {}\n", status.unnumberedIntfId());
    Velk::dumpLine(context, indent, "secondaryActiveAddrWithMask count {}\n", secondaries.size());
    Velk::dumpList(context, indent, secondaries, secondaries.size(), [&](auto const& member) {
        Velk::dumpLine(context, indent, "{}\n", member.key);
    });
}

Zin::Ptr<IpIntfStatusSm> ipIntfStatusSmFactory(
    Zin::Ptr<Ip::IpIntfStatus const> ipIntfStatus,
    Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask) {
    return Zin::make<IpIntfStatusSm>(std::move(ipIntfStatus), std::move(afIntfStatusParent),
                                     std::move(allIntfAddrWithMask));
}

}  // namespace IpLib::IntfAddrVrfTableImpl
