// Turns the IPv6 status of one interface into working rows: one for each address, global and
// link-local alike, with its deprecated state.
//
//   in     Ip6::IntfStatus: the addresses
//   out    AllIntfAddrWithMask: one row for each address
//          the parent: a clean-up pending for the interface is settled when the status is here, and
//          requested when it has gone, each before any row is touched
//
// A link-local address that is reported deprecated raises Zin::RangeError, and its row stays as it
// was; the other addresses are published all the same.
//
// One for each interface of Ip6::VrfIp6IntfStatus, owned by the VRF's machine.
#pragma once

#include "Ip6/IntfStatus.h"
#include "IpLib/IntfAddrVrfTableSm/AfIntfStatusParent.h"
#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "Pell/Traced.h"
#include "Velk/DumpContext.h"
#include "Zin/Reactor.h"

namespace IpLib::IntfAddrVrfTableImpl {

class Ip6IntfStatusSm final : public Zin::Entity, private Pell::Traced<"Ip6IntfStatusSm"> {
public:
    Ip6IntfStatusSm(Zin::Ptr<Ip6::IntfStatus const> ip6IntfStatus,
                    Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
                    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask);

    Zin::Ptr<Ip6::IntfStatus const> const& ip6IntfStatus() const { return reactor_.notifier(); }
    Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent() const {
        return afIntfStatusParent_;
    }
    Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask() const {
        return allIntfAddrWithMask_;
    }
    // The empty one where there is no status.
    Nimb::IntfId const& intfId() const;
    bool builtFrom(Zin::Ptr<Ip6::IntfStatus const> const& ip6IntfStatus,
                   Zin::Ptr<AfIntfStatusParentInterface> const& afIntfStatusParent,
                   Zin::Ptr<AllIntfAddrWithMask> const& allIntfAddrWithMask) const;

    void hasNotificationActiveIs(bool active) override;
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    // Handlers. A retired machine handles nothing.
    void handleAddr(Nimb::Ip6AddrWithMask const& addrWithMask);
    void handleAllAddr();

protected:
    void handleInitialized() override;
    void handleDestruction() override;

private:
    class StatusReactor final : public Zin::Reactor<Ip6IntfStatusSm, Ip6::IntfStatus> {
    public:
        using Reactor::Reactor;

    private:
        void handleAddr(Nimb::Ip6AddrWithMask const& addr) override {
            forward<&Ip6IntfStatusSm::handleAddr>(addr);
        }
    };

    Zin::Ptr<AfIntfStatusParentInterface> const afIntfStatusParent_;
    Zin::Ptr<AllIntfAddrWithMask> const allIntfAddrWithMask_;
    StatusReactor reactor_;
};

Zin::Ptr<Ip6IntfStatusSm> ip6IntfStatusSmFactory(
    Zin::Ptr<Ip6::IntfStatus const> ip6IntfStatus,
    Zin::Ptr<AfIntfStatusParentInterface> afIntfStatusParent,
    Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMask);

}  // namespace IpLib::IntfAddrVrfTableImpl
