// Makes the machines of production: holds all that a machine needs besides its VRF and its table,
// and uses the VRF's kernel interface directory on its behalf.
//
// Owned by the embedding agent and the managers that it is given to.
#pragma once

#include <string_view>

#include "Interface/KniIntfStatusHelper.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmAbstractFactory.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "Velk/TaskScheduler.h"
#include "VirtualIp/VirtualIp6Status.h"
#include "VirtualIp/VirtualIpStatus.h"

namespace IpLib {

class IntfAddrVrfTableSmFactory final : public IntfAddrVrfTableSmAbstractFactory {
public:
    // As whom it uses the kernel interface directories.
    static constexpr std::string_view requester = "IpLib::IntfAddrVrfTableSmFactory";

    // A null scheduler or helper raises Zin::NullArgumentError, a delay that is not finite
    // Zin::RangeError.
    IntfAddrVrfTableSmFactory(IntfAddrVrfTableSmConfig const& smConfig,
                              Zin::Ptr<Velk::TaskScheduler> scheduler,
                              Zin::Ptr<VirtualIp::VirtualIpStatus const> virtualIpStatus,
                              Zin::Ptr<VirtualIp::VirtualIp6Status const> virtualIp6Status,
                              Zin::Ptr<Interface::KniIntfStatusHelper> kniIntfStatusHelper);

    IntfAddrVrfTableSmConfig const& smConfig() const { return smConfig_; }
    Zin::Ptr<Velk::TaskScheduler> const& scheduler() const { return scheduler_; }
    // Where the machines read virtual IPv4 addresses; null where it was given none.
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus() const {
        return virtualIpStatus_;
    }
    // Where they read virtual IPv6 addresses; null where it was given none.
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status() const {
        return virtualIp6Status_;
    }
    // Where it gets each VRF's directory of kernel interfaces.
    Zin::Ptr<Interface::KniIntfStatusHelper> const& kniIntfStatusHelper() const {
        return kniIntfStatusHelper_;
    }

    // Each call is one more use of the VRF's directory. Throws Zin::RangeError, and makes no
    // machine, if the VRF's namespace would have a name of more than 150 bytes.
    Zin::Ptr<IntfAddrVrfTableSm> make(L3::VrfName const& vrf,
                                      Zin::Ptr<IntfAddrVrfTable> const& table) override;
    // Gives back one use.
    void unmake(L3::VrfName const& vrf) override;

private:
    IntfAddrVrfTableSmConfig const smConfig_;
    Zin::Ptr<Velk::TaskScheduler> const scheduler_;
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const virtualIpStatus_;
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const virtualIp6Status_;
    Zin::Ptr<Interface::KniIntfStatusHelper> const kniIntfStatusHelper_;
};

Zin::Ptr<IntfAddrVrfTableSmFactory> intfAddrVrfTableSmFactoryFactory(
    IntfAddrVrfTableSmConfig const& smConfig, Zin::Ptr<Velk::TaskScheduler> const& scheduler,
    Zin::Ptr<VirtualIp::VirtualIpStatus const> const& virtualIpStatus,
    Zin::Ptr<VirtualIp::VirtualIp6Status const> const& virtualIp6Status,
    Zin::Ptr<Interface::KniIntfStatusHelper> const& kniIntfStatusHelper);

}  // namespace IpLib
