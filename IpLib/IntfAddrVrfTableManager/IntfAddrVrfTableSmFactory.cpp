#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmFactory.h"

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSmTypes/FiniteDelays.h"

namespace IpLib {
IntfAddrVrfTableSmFactory::IntfAddrVrfTableSmFactory(
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> virtualIp6Status,
    Zin::Ptr<Interface::KniIntfStatusHelper> kniIntfStatusHelper)
    : smConfig_(IntfAddrVrfTableImpl::withFiniteDelays(smConfig)),
      scheduler_(Zin::notNull("scheduler", std::move(scheduler))),
      virtualIpStatus_(std::move(virtualIpStatus)),
      virtualIp6Status_(std::move(virtualIp6Status)),
      kniIntfStatusHelper_(Zin::notNull("kniIntfStatusHelper", std::move(kniIntfStatusHelper))) {}

Zin::Ptr<IntfAddrVrfTableSm> IntfAddrVrfTableSmFactory::make(
    L3::VrfName const& vrf, Zin::Ptr<IntfAddrVrfTable> const& table) {
    auto const kernelIntfDir = kniIntfStatusHelper_->acquire(vrf, requester);
    return intfAddrVrfTableSmFactory(vrf, vrf.nsName(), smConfig_, scheduler_, virtualIpStatus_,
                                     virtualIp6Status_, kernelIntfDir, table);
}

void IntfAddrVrfTableSmFactory::unmake(L3::VrfName const& vrf) {
    kniIntfStatusHelper_->release(vrf, requester);
}

Zin::Ptr<IntfAddrVrfTableSmFactory> intfAddrVrfTableSmFactoryFactory(
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> const& scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status,
    Zin::Ptr<Interface::KniIntfStatusHelper> const& kniIntfStatusHelper) {
    return Zin::make<IntfAddrVrfTableSmFactory>(smConfig, scheduler, virtualIpStatus,
                                                virtualIp6Status, kniIntfStatusHelper);
}

}  // namespace IpLib
