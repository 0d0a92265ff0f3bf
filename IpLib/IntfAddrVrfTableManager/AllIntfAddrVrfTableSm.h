// Points every table at its VRF's status, whichever of them comes or goes first.
//
//   in     Ip::Status, Ip6::Status: the status of each VRF
//          AllIntfAddrVrfTable: the tables
//   out    each table's vrfIpIntfStatus and vrfIp6IntfStatus; null where the VRF has no status
//
// Owned by IntfAddrVrfTableManager.
#pragma once

#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "Pell/Traced.h"
#include "Zin/Reactor.h"

namespace IpLib {

class AllIntfAddrVrfTableSm final : public Zin::Entity,
                                    private Pell::Traced<"AllIntfAddrVrfTableSm"> {
public:
    AllIntfAddrVrfTableSm(Zin::Ptr<Ip::Status const> ipStatus,
                          Zin::Ptr<Ip6::Status const> ip6Status,
                          Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable);

    Zin::Ptr<Ip::Status const> const& ipStatus() const { return ipReactor_.notifier(); }
    Zin::Ptr<Ip6::Status const> const& ip6Status() const { return ip6Reactor_.notifier(); }
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable() const {
        return allIntfAddrVrfTable_;
    }
    bool builtFrom(Zin::Ptr<Ip::Status const> const& ipStatus,
                   Zin::Ptr<Ip6::Status const> const& ip6Status,
                   Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) const;

    void hasNotificationActiveIs(bool active) override;
    // The VRFs that have a table, in order of their names, and how many interfaces have status of
    // any family there.
    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

    void handleVrfIpIntfStatus(L3::VrfName const& vrf);
    void handleVrfIp6IntfStatus(L3::VrfName const& vrf);
    void handleIntfAddrVrfTable(L3::VrfName const& vrf);

protected:
    void handleInitialized() override;

private:
    class IpReactor final : public Zin::Reactor<AllIntfAddrVrfTableSm, Ip::Status> {
    public:
        using Reactor::Reactor;

    private:
        void handleVrfIpIntfStatus(L3::VrfName const& vrf) override {
            forward<&AllIntfAddrVrfTableSm::handleVrfIpIntfStatus>(vrf);
        }
    };

    class Ip6Reactor final : public Zin::Reactor<AllIntfAddrVrfTableSm, Ip6::Status> {
    public:
        using Reactor::Reactor;

    private:
        void handleVrfIp6IntfStatus(L3::VrfName const& vrf) override {
            forward<&AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus>(vrf);
        }
    };

    class TableReactor final : public Zin::Reactor<AllIntfAddrVrfTableSm, AllIntfAddrVrfTable> {
    public:
        using Reactor::Reactor;

    private:
        void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
            forward<&AllIntfAddrVrfTableSm::handleIntfAddrVrfTable>(vrf);
        }
    };

    Zin::Ptr<AllIntfAddrVrfTable> const allIntfAddrVrfTable_;
    IpReactor ipReactor_;
    Ip6Reactor ip6Reactor_;
    TableReactor tableReactor_;
};

Zin::Ptr<AllIntfAddrVrfTableSm> allIntfAddrVrfTableSmFactory(
    Zin::Ptr<Ip::Status const> const& ipStatus, Zin::Ptr<Ip6::Status const> const& ip6Status,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable);

}  // namespace IpLib
