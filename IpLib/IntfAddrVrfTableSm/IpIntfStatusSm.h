// Turns the IPv4 status of one interface into working rows: the primary address, unless the
// interface is unnumbered and only borrows it, and every secondary address.
//
//   in     Ip::IpIntfStatus: primary, unnumbered source, secondaries
//   out    AllIntfAddrWithMask: one row for each address, never deprecated
//          the parent: a clean-up pending for the interface is settled when the status is here, and
//          requested when it has gone, each before any row is touched
//
// The shadow is what was last handled of the primary; it tells what to withdraw. While the shadow
// says unnumbered, the primary in it was never published. While an old primary is being withdrawn
// the shadow has none.
//
// One for each interface of Ip::VrfIpIntfStatus, owned by the VRF's machine.
#pragma once

#include <optional>

#include "Ip/IpIntfStatus.h"
#include "IpLib/IntfAddrVrfTableSm/AfIntfStatusParent.h"
#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "Nimb/IpGenAddrWithMask.h"
#include "Pell/Traced.h"
#include "Velk/DumpContext.h"
#include "Zin/Reactor.h"

namespace IpLib::IntfAddrVrfTableImpl {

class IpIntfStatusSm final : public Zin::Entity, private Pell::Traced<"IpIntfStatusSm"> {
public:
    IpIntfStatusSm(Zin::Ptr<Ip::IpIntfStatus const> ipIntfStatus,
                   Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
                   Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask);

    Zin::Ptr<Ip::IpIntfStatus const> const& ipIntfStatus() const { return reactor_.notifier(); }
    Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent() const {
        return afIntfStatusParent_;
    }
    Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask() const {
        return allIntfAddrWithMask_;
    }
    // The empty one where there is no status.
    Nimb::IntfId const& intfId() const;
    std::optional<Nimb::IpGenAddrWithMask> const& maybeShadowPrimaryAddr() const {
        return maybeShadowPrimaryAddr_;
    }
    std::optional<bool> const& maybeShadowIsUnnumbered() const { return maybeShadowIsUnnumbered_; }
    bool builtFrom(Zin::Ptr<Ip::IpIntfStatus const> const& ipIntfStatus,
                   Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent,
                   Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask) const;

    void hasNotificationActiveIs(bool active) override;
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    // Handlers. A retired machine handles nothing.
    void handlePrimaryAddr();
    void handleSecondaryAddr(Nimb::IpAddrWithMask const& addrWithMask);
    void handleAllSecondaryAddr();

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    class StatusReactor final : public Zin::Reactor<IpIntfStatusSm, Ip::IpIntfStatus> {
    public:
        using Reactor::Reactor;

    private:
        void handleActiveAddrWithMask() override { forward<&IpIntfStatusSm::handlePrimaryAddr>(); }
        void handleUnnumberedIntfId() override { forward<&IpIntfStatusSm::handlePrimaryAddr>(); }
        void handleSecondaryActiveAddrWithMask(Nimb::IpAddrWithMask const& addr) override {
            forward<&IpIntfStatusSm::handleSecondaryAddr>(addr);
        }
    };

    // What the status says; no primary where it is 0.0.0.0/0.
    std::optional<Nimb::IpGenAddrWithMask> primary() const;
    bool isUnnumbered() const;
    // Whether the shadow says the same.
    bool isPrimaryHandled() const;

    IntfAddrWithMaskKey keyOf(Nimb::IpGenAddrWithMask const& addrWithMask) const {
        return {intfId(), addrWithMask};
    }

    Zin::Ptr<AfIntfStatusParentInterface> const afIntfStatusParent_;
    Zin::Ptr<AllIntfAddrWithMask> const allIntfAddrWithMask_;
    std::optional<Nimb::IpGenAddrWithMask> maybeShadowPrimaryAddr_;
    std::optional<bool> maybeShadowIsUnnumbered_;
    StatusReactor reactor_;
};

Zin::Ptr<IpIntfStatusSm> ipIntfStatusSmFactory(
    Zin::Ptr<Ip::IpIntfStatus const> ipIntfStatus,
    Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask);

}  // namespace IpLib::IntfAddrVrfTableImpl
