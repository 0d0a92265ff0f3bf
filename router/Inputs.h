// The status of one router that its agents publish, and the operations by which a feed changes it:
// interfaces and addresses per VRF, virtual addresses, and the kernel's interfaces.
//
//   in     the operations below; each throws OperationError where it names something that does not
//          exist or gives an empty name, and else hands back its effect, to be applied (Effect.h)
//   out    the published status, which the library and others observe; the operations themselves,
//          for whoever records them (Operation.h)
//
// Setting what is set already changes nothing and tells nobody.
#pragma once

#include <vector>

#include "Interface/KniIntfStatusHelper.h"
#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "L3/VrfName.h"
#include "VirtualIp/VirtualIp6Status.h"
#include "VirtualIp/VirtualIpStatus.h"
#include "router/Operation.h"

namespace Routing {

class Inputs {
public:
    Inputs();

    // The published status.
    Zin::Ptr<Ip::Status> const& ipStatus() const { return ipStatus_; }
    Zin::Ptr<Ip6::Status> const& ip6Status() const { return ip6Status_; }
    Zin::Ptr<VirtualIp::VirtualIpStatus> const& virtualIpStatus() const { return virtualIpStatus_; }
    Zin::Ptr<VirtualIp::VirtualIp6Status> const& virtualIp6Status() const {
        return virtualIp6Status_;
    }
    Zin::Ptr<Interface::KniIntfStatusHelper> const& kniIntfStatusHelper() const {
        return kniIntfStatusHelper_;
    }

    // All effects of this router, those of its agent too, are made here.
    OperationEffects& effects() { return effects_; }

    // A VRF's status for one family. Adding replaces the one that is there by a new, empty one.
    Effect ipVrfAdd(L3::VrfName const& vrf);
    Effect ipVrfDel(L3::VrfName const& vrf);
    Effect ip6VrfAdd(L3::VrfName const& vrf);
    Effect ip6VrfDel(L3::VrfName const& vrf);

    // An interface's status for one family. Adding publishes it whole, in place of the one that is
    // there.
    Effect ipIntfAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf, IpIntf const& addressing);
    Effect ipIntfDel(L3::VrfName const& vrf, Nimb::IntfId const& intf);
    Effect ip6IntfAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                      std::vector<Ip6IntfAddr> const& addrs);
    Effect ip6IntfDel(L3::VrfName const& vrf, Nimb::IntfId const& intf);

    // The addresses of an interface that has status.
    Effect ipPrimaryIs(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                       Nimb::IpAddrWithMask const& addr);
    Effect ipUnnumberedIs(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          Nimb::IntfId const& source);
    Effect ipSecondaryAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          Nimb::IpAddrWithMask const& addr);
    Effect ipSecondaryDel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          Nimb::IpAddrWithMask const& addr);
    Effect ip6AddrSet(L3::VrfName const& vrf, Nimb::IntfId const& intf, Ip6IntfAddr const& addr);
    Effect ip6AddrDel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                      Nimb::Ip6AddrWithMask const& addr);

    // The interfaces that exist as devices in the VRF's namespace. Every VRF has such a directory,
    // also one without status. Adding replaces the one that is there, which is told again.
    Effect kernelAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                     KernelIntf const& kernelIntf);
    Effect kernelDel(L3::VrfName const& vrf, Nimb::IntfId const& intf);

    // Virtual addresses; of any VRF, also one without status.
    Effect vipAdd(L3::VrfName const& vrf, Nimb::IpAddrWithMask const& addr);
    Effect vipDel(L3::VrfName const& vrf, Nimb::IpAddrWithMask const& addr);
    Effect vip6Add(L3::VrfName const& vrf, Nimb::Ip6Addr const& addr);
    Effect vip6Del(L3::VrfName const& vrf, Nimb::Ip6Addr const& addr);

    // Whether all that the operation sets is set already, so that it tells nobody.
    bool isSet(Operation const& operation) const;

private:
    Zin::Ptr<Ip::IpIntfStatus> ipIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const;
    Zin::Ptr<Ip6::IntfStatus> ip6Intf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const;

    OperationEffects effects_;
    Zin::Ptr<Ip::Status> const ipStatus_;
    Zin::Ptr<Ip6::Status> const ip6Status_;
    Zin::Ptr<VirtualIp::VirtualIpStatus> const virtualIpStatus_;
    Zin::Ptr<VirtualIp::VirtualIp6Status> const virtualIp6Status_;
    Zin::Ptr<Interface::KniIntfStatusHelper> const kniIntfStatusHelper_;
};

// Throws OperationError if the name is empty.
void checkName(L3::VrfName const& vrf);
void checkName(Nimb::IntfId const& intf);

}  // namespace Routing
