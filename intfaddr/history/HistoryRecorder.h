// Writes down what happens to the addresses of a router: in the history of each, and since when
// each row is there.
//
//   in     operations, right before they take effect; rows that come and go; what waits, asked
//          where it may have changed (BacklogFollower.h); repairs; what the kernel says
//   out    AddressHistory, Since
//   time   the router's clock; of what the kernel says, that of whoever heard it. The owner calls
//          catchUp() each time that the router has been given its turn
//
// Before it begins, rows get their times and nothing is written down: a million addresses that come
// with the first publication have nothing to tell. What waits by then is known, and told of when it
// waits no more. From then on each change costs what it is about itself, and not what else there
// is.
//
// What happens to an interface is written down once, not for each of its addresses: its device, its
// status, which withdraws all that is published on it, and its clean-up.
//
// Made before the router has tables. Goes before it; borrows it.
#pragma once

#include "feeds/netlink/Message.h"
#include "intfaddr/history/AddressHistory.h"
#include "intfaddr/history/BacklogFollower.h"
#include "intfaddr/history/Since.h"
#include "router/repair/Supervisor.h"

namespace IntfAddr {

class HistoryRecorder final : public Routing::RepairObserver,
                              private Routing::OperationObserver,
                              private Routing::TableFollower::Notifiee,
                              private BacklogFollower::Observer {
public:
    HistoryRecorder(Routing::Router& router, Zin::Ptr<Routing::TableFollower const> follower,
                    AddressHistory::Options const& options);
    ~HistoryRecorder() override;
    HistoryRecorder(HistoryRecorder const&) = delete;
    HistoryRecorder& operator=(HistoryRecorder const&) = delete;

    AddressHistory const& history() const { return history_; }
    Since const& since() const { return since_; }
    // Nothing is known to wait before it begins.
    std::optional<BacklogFollower::Waiting> longestWaiting(L3::VrfName const& vrf) const {
        return backlogs_.longestWaiting(vrf);
    }

    // Once, after the first publication, and outside of operations.
    void begin();
    void catchUp();

    void handleKernel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                      Netlink::Change const& change, Zin::Seconds now);
    // An address that the repair has brought or taken has changed by it.
    void handleRepair(Routing::Repair const& repair,
                      std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override;

private:
    using Kind = AddressEvent::Kind;
    using Marks = AddressEvent::Marks;

    void handleOperation(Routing::Operation const& operation) override;
    void handleReplacement(L3::VrfName const& vrf, Routing::TableDifference const&) override;
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;
    void handleDeferred(L3::VrfName const& vrf, IpLib::IntfAddrWithMaskKey const& key, bool waits,
                        Zin::Seconds at) override;
    void handleCleanup(L3::VrfName const& vrf, IpLib::IntfFamily const& whose, bool waits,
                       Zin::Seconds at) override;

    // What changes no address.
    template <class Op>
    void handle(Op const&) {}
    void handle(Routing::ManagerStart const&) { backlogs_.touchAll(); }
    void handle(Routing::ManagerStop const&) { backlogs_.touchAll(); }
    void handle(Routing::IpVrfAdd const& op) { ipVrfGoes(op.vrf); }
    void handle(Routing::IpVrfDel const& op) { ipVrfGoes(op.vrf); }
    void handle(Routing::Ip6VrfAdd const& op) { ip6VrfGoes(op.vrf); }
    void handle(Routing::Ip6VrfDel const& op) { ip6VrfGoes(op.vrf); }
    void handle(Routing::IpIntfAdd const& op);
    void handle(Routing::IpIntfDel const& op);
    void handle(Routing::Ip6IntfAdd const& op);
    void handle(Routing::Ip6IntfDel const& op);
    void handle(Routing::IpPrimaryIs const& op);
    void handle(Routing::IpUnnumberedIs const& op);
    void handle(Routing::IpSecondaryAdd const& op);
    void handle(Routing::IpSecondaryDel const& op);
    void handle(Routing::Ip6AddrSet const& op);
    void handle(Routing::Ip6AddrDel const& op);
    void handle(Routing::KernelAdd const& op);
    void handle(Routing::KernelDel const& op);
    void handle(Routing::VipAdd const& op);
    void handle(Routing::VipDel const& op);
    void handle(Routing::Vip6Add const& op);
    void handle(Routing::Vip6Del const& op);

    void ipVrfGoes(L3::VrfName const& vrf);
    void ip6VrfGoes(L3::VrfName const& vrf);
    Zin::Ptr<Ip::IpIntfStatus> ipIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const;
    bool hasIp6Intf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const;
    // None: 0.0.0.0/0.
    void primaryChanges(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                        Nimb::IpAddrWithMask const& before, Nimb::IpAddrWithMask const& then);

    // On an interface: the address may have to wait, or to wait no more.
    void note(L3::VrfName const& vrf, Nimb::IntfId const& intf, Nimb::IpGenAddrWithMask const& addr,
              Kind kind, Marks marks);
    void noteVirtual(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr, Kind kind);
    void noteIntf(L3::VrfName const& vrf, IpLib::IntfFamily const& whose, Kind kind);
    void noteDevice(L3::VrfName const& vrf, Nimb::IntfId const& intf, Kind kind);
    void touchDevice(L3::VrfName const& vrf, Nimb::IntfId const& intf);
    Zin::Seconds now() const { return router_.scheduler()->now(); }

    Routing::Router& router_;
    bool hasBegun_ = false;
    AddressHistory history_;
    Since since_;
    BacklogFollower backlogs_;
};

}  // namespace IntfAddr
