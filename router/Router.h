// One router held together: the status that its agents publish, the library that runs on it, and
// the address table of each VRF.
//
//   in     Inputs: what a feed publishes; tables and the manager, which the router's agent adds,
//          removes, starts and stops
//   out    the tables, and the machines that fill them, for readers
//   time   the clock and the yield policy that it is given; whoever runs the router asks the
//          scheduler when it has something to do
//
// The manager does not run before it is started, so observers of the tables may come first. Owned
// by the program; the feeds and the readers borrow it. Whoever wants to be told what fails as the
// manager goes stops it first, or destroys the router in a Zin::Turn.
#pragma once

#include <memory>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"
#include "Velk/TaskScheduler.h"
#include "router/Inputs.h"
#include "router/Published.h"
#include "router/View.h"

namespace Routing {

// "default" first, the others in order of their names.
struct VrfOrder {
    // Whether `a` comes before `b`.
    bool operator()(L3::VrfName const& a, L3::VrfName const& b) const {
        return a.isDefault() != b.isDefault() ? a.isDefault() : a < b;
    }
};

class Router {
public:
    // Without tables, and with no manager running. The policy says when a task that has much to do
    // lets others go first. A null clock or policy raises Zin::NullArgumentError, a delay that is
    // not finite Zin::RangeError.
    Router(IpLib::IntfAddrVrfTableSmConfig const& config, Zin::Ptr<Zin::Clock const> const& clock,
           std::unique_ptr<Velk::YieldPolicy> yieldPolicy);
    Router(Router const&) = delete;
    Router& operator=(Router const&) = delete;

    // The router's own: what feeds write. Goes with it.
    Inputs& inputs() { return inputs_; }
    Inputs const& inputs() const { return inputs_; }
    // The machines' delays and switches, for all VRFs.
    IpLib::IntfAddrVrfTableSmConfig const& config() const { return smFactory_->smConfig(); }
    Zin::Ptr<Velk::TaskScheduler> const& scheduler() const { return scheduler_; }

    // The operations of the router's agent; like those of Inputs, each is checked, and hands back
    // its effect.
    //
    // The tables. Adding puts a new, empty one in place of the one that is there.
    Zin::Ptr<IpLib::AllIntfAddrVrfTable> const& tables() const { return tables_; }
    Effect tableAdd(L3::VrfName const& vrf);
    Effect tableDel(L3::VrfName const& vrf);

    // Stopping leaves tables and inputs as they are. It is an OperationError to start the manager
    // while it runs, or to stop it while it does not.
    bool managerRuns() const { return bool(manager_); }
    Effect managerStart();
    Effect managerStop();

    // The VRFs that have a table, in VrfOrder.
    std::vector<L3::VrfName> vrfs() const;
    // Throws OperationError if the VRF has no table.
    Zin::Ptr<IpLib::IntfAddrVrfTable> table(L3::VrfName const& vrf) const;
    // Null where none runs. Its header is not installed: it is for what shows the machines and
    // repairs the tables here.
    Zin::Ptr<IpLib::IntfAddrVrfTableSm> tableSm(L3::VrfName const& vrf) const;

    // What the VRF's table is to hold (Published.h); of any VRF. Goes before the router.
    Published published(L3::VrfName const& vrf) const {
        return {inputs_, vrf, config().ignoreKernelInterfaceState};
    }

    // See View.h. Each throws OperationError if the VRF has no table.
    std::vector<Row> rows(L3::VrfName const& vrf) const;
    std::vector<Row> ownersOf(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr) const;
    // Empty where no machine runs.
    std::vector<DeferredAddr> deferredAddrs(L3::VrfName const& vrf) const;

private:
    Inputs inputs_;
    Zin::Ptr<Velk::TaskScheduler> const scheduler_;
    Zin::Ptr<IpLib::AllIntfAddrVrfTable> const tables_;
    Zin::Ptr<IpLib::IntfAddrVrfTableSmFactory> const smFactory_;
    Zin::Ptr<IpLib::IntfAddrVrfTableManager> manager_;  // goes first
};

}  // namespace Routing
