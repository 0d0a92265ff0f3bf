#include "router/Router.h"

#include <algorithm>
#include <utility>

#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "router/OperationError.h"

namespace Routing {

Router::Router(IpLib::IntfAddrVrfTableSmConfig const& config,
               Zin::Ptr<Zin::Clock const> const& clock,
               std::unique_ptr<Velk::YieldPolicy> yieldPolicy)
    : scheduler_(Velk::taskSchedulerFactory(clock, std::move(yieldPolicy))),
      tables_(IpLib::allIntfAddrVrfTableFactory()),
      smFactory_(IpLib::intfAddrVrfTableSmFactoryFactory(
          config, scheduler_, inputs_.virtualIpStatus(), inputs_.virtualIp6Status(),
          inputs_.kniIntfStatusHelper())) {}

Effect Router::tableAdd(L3::VrfName const& vrf) {
    checkName(vrf);
    return inputs_.effects().effect(TableAdd{vrf}, [this, vrf] {
        tables_->intfAddrVrfTableIs(vrf, IpLib::intfAddrVrfTableFactory());
    });
}

Effect Router::tableDel(L3::VrfName const& vrf) {
    table(vrf);
    return inputs_.effects().effect(TableDel{vrf}, [this, vrf] {
        Zin::Turn const turn;
        tables_->intfAddrVrfTableDel(vrf);
    });
}

Effect Router::managerStart() {
    if (managerRuns()) {
        throw OperationError("the manager runs already");
    }
    return inputs_.effects().effect(ManagerStart{}, [this] {
        // What the library refuses of the published status is thrown when the turn ends: the
        // manager runs for all the rest.
        Zin::Turn turn;
        manager_ = nullptr;  // one that has come meanwhile would take its rows along later
        manager_ = IpLib::intfAddrVrfTableManagerFactory(inputs_.ipStatus(), inputs_.ip6Status(),
                                                         smFactory_, tables_);
    });
}

Effect Router::managerStop() {
    if (!managerRuns()) {
        throw OperationError("the manager does not run");
    }
    return inputs_.effects().effect(ManagerStop{}, [this] {
        Zin::Turn const turn;
        manager_ = nullptr;
    });
}

std::vector<L3::VrfName> Router::vrfs() const {
    std::vector<L3::VrfName> names;
    for (auto const& member : tables_->intfAddrVrfTable()) {
        names.push_back(member.key);
    }
    std::ranges::sort(names, VrfOrder());
    return names;
}

Zin::Ptr<IpLib::IntfAddrVrfTable> Router::table(L3::VrfName const& vrf) const {
    auto found = tables_->intfAddrVrfTable(vrf);
    if (!found) {
        throw OperationError(fmt::format("there is no VRF '{}'", vrf));
    }
    return found;
}

Zin::Ptr<IpLib::IntfAddrVrfTableSm> Router::tableSm(L3::VrfName const& vrf) const {
    return managerRuns() ? manager_->intfAddrVrfTableSmManager()->intfAddrVrfTableSm(vrf) : nullptr;
}

std::vector<Row> Router::rows(L3::VrfName const& vrf) const { return Routing::rows(*table(vrf)); }

std::vector<Row> Router::ownersOf(L3::VrfName const& vrf, Nimb::IpGenAddr const& addr) const {
    return Routing::ownersOf(*table(vrf), addr);
}

std::vector<DeferredAddr> Router::deferredAddrs(L3::VrfName const& vrf) const {
    auto const vrfTable = table(vrf);
    auto const sm = tableSm(vrf);
    return sm ? Routing::deferredAddrs(*vrfTable, *sm->deferredIntfAddBacklog())
              : std::vector<DeferredAddr>();
}

}  // namespace Routing
