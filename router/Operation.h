// What may be done to a router, as values: the operations of its agent and of the feeds (Router.h,
// Inputs.h), each named like the one that does it. Whoever records them is told of each as it is
// carried out, so that a run can be written down and made again.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Interface/DeviceIntfStatus.h"
#include "L3/VrfName.h"
#include "Nimb/IntfId.h"
#include "Nimb/Ip6AddrWithMask.h"
#include "Nimb/IpAddrWithMask.h"
#include "router/Effect.h"

namespace Routing {

// The IPv4 addressing of one interface.
struct IpIntf {
    Nimb::IpAddrWithMask primary{};                 // 0.0.0.0/0: none
    Nimb::IntfId unnumberedSource{};                // empty: numbered
    std::vector<Nimb::IpAddrWithMask> secondary{};  // besides the primary one

    friend bool operator==(IpIntf const&, IpIntf const&) = default;
};

// One IPv6 address of an interface.
struct Ip6IntfAddr {
    Nimb::Ip6AddrWithMask addr;  // with the prefix length of its subnet
    bool deprecated = false;     // past its preferred lifetime (RFC 4862, 5.5.4)

    friend bool operator==(Ip6IntfAddr const&, Ip6IntfAddr const&) = default;
};

// What the kernel says of one interface.
struct KernelIntf {
    std::string deviceName{};   // the kernel's name of it
    std::uint32_t ifIndex = 0;  // the kernel's number; 0: not known
    Interface::OperStatus operStatus = Interface::OperStatus::up;  // as in the kernel
    bool active = true;                                            // administratively up

    friend bool operator==(KernelIntf const&, KernelIntf const&) = default;
};

// The router's one manager starts, where it does not run, or stops, where it does.
struct ManagerStart {};
struct ManagerStop {};

// A VRF gets a table, empty and in place of the one that is there.
struct TableAdd {
    L3::VrfName vrf;  // any, but not empty
};
// A VRF's table goes.
struct TableDel {
    L3::VrfName vrf;  // that has a table
};

// A VRF gets IPv4 status, empty and in place of what is there.
struct IpVrfAdd {
    L3::VrfName vrf;  // any, but not empty
};
// A VRF's IPv4 status goes, with all its interfaces.
struct IpVrfDel {
    L3::VrfName vrf;  // that has IPv4 status
};
// A VRF gets IPv6 status, empty and in place of what is there.
struct Ip6VrfAdd {
    L3::VrfName vrf;  // any, but not empty
};
// A VRF's IPv6 status goes, with all its interfaces.
struct Ip6VrfDel {
    L3::VrfName vrf;  // that has IPv6 status
};

// An interface gets IPv4 status, in place of what is there.
struct IpIntfAdd {
    L3::VrfName vrf;    // that has IPv4 status
    Nimb::IntfId intf;  // any, but not empty
    IpIntf addressing;  // all of it
};
// An interface's IPv4 status goes.
struct IpIntfDel {
    // An interface that has IPv4 status in its VRF.
    L3::VrfName vrf;
    Nimb::IntfId intf;
};
// An interface gets IPv6 status, in place of what is there.
struct Ip6IntfAdd {
    L3::VrfName vrf;                 // that has IPv6 status
    Nimb::IntfId intf;               // any, but not empty
    std::vector<Ip6IntfAddr> addrs;  // all of them; of one that is there twice, the later
};
// An interface's IPv6 status goes.
struct Ip6IntfDel {
    // An interface that has IPv6 status in its VRF.
    L3::VrfName vrf;
    Nimb::IntfId intf;
};

// An interface's primary address.
struct IpPrimaryIs {
    // An interface that has IPv4 status in its VRF.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;  // 0.0.0.0/0: none
};
// Whose primary address an interface borrows.
struct IpUnnumberedIs {
    // An interface that has IPv4 status in its VRF.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IntfId source;  // need not be there; empty: it borrows none
};
// A secondary address comes, or stays.
struct IpSecondaryAdd {
    // An interface that has IPv4 status in its VRF. What it has already, it keeps.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;
};
// A secondary address goes.
struct IpSecondaryDel {
    // An interface that has IPv4 status in its VRF. It must have the address.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;
};
// An IPv6 address comes, or is deprecated or not from now on.
struct Ip6AddrSet {
    // An interface that has IPv6 status in its VRF.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Ip6IntfAddr addr;
};
// An IPv6 address goes.
struct Ip6AddrDel {
    // An interface that has IPv6 status in its VRF. It must have the address.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::Ip6AddrWithMask addr;
};

// A device comes into a VRF's namespace, in place of the one that is there.
struct KernelAdd {
    // Any VRF and interface; neither name is empty.
    L3::VrfName vrf;
    Nimb::IntfId intf;
    KernelIntf kernelIntf;  // what the kernel says of it
};
// A device goes.
struct KernelDel {
    // An interface that has a device in the VRF's namespace.
    L3::VrfName vrf;
    Nimb::IntfId intf;
};

// A virtual IPv4 address comes, or stays.
struct VipAdd {
    L3::VrfName vrf;            // any, but not empty
    Nimb::IpAddrWithMask addr;  // the same may be there with other lengths too
};
// A virtual IPv4 address goes.
struct VipDel {
    // The VRF must have it, with this very length.
    L3::VrfName vrf;
    Nimb::IpAddrWithMask addr;
};
// A virtual IPv6 address comes, or stays.
struct Vip6Add {
    // The VRF's name is any, but not empty.
    L3::VrfName vrf;
    Nimb::Ip6Addr addr;
};
// A virtual IPv6 address goes.
struct Vip6Del {
    // The VRF must have it.
    L3::VrfName vrf;
    Nimb::Ip6Addr addr;
};

// Any one of them.
using Operation =
    std::variant<ManagerStart, ManagerStop, TableAdd, TableDel, IpVrfAdd, IpVrfDel, Ip6VrfAdd,
                 Ip6VrfDel, IpIntfAdd, IpIntfDel, Ip6IntfAdd, Ip6IntfDel, IpPrimaryIs,
                 IpUnnumberedIs, IpSecondaryAdd, IpSecondaryDel, Ip6AddrSet, Ip6AddrDel, KernelAdd,
                 KernelDel, VipAdd, VipDel, Vip6Add, Vip6Del>;

// Who is told of operations; borrowed by those who tell.
class OperationObserver {
public:
    virtual ~OperationObserver() = default;
    // Right before the operation takes effect; also where that comes from within another one.
    virtual void handleOperation(Operation const& operation) = 0;
};

// Makes the effects of operations, which tell the observers. Outlives them.
class OperationEffects {
public:
    OperationEffects() = default;
    OperationEffects(OperationEffects const&) = delete;
    OperationEffects& operator=(OperationEffects const&) = delete;

    // Borrowed, and told in the order in which they were added. They neither come nor go while one
    // of them is being told.
    void observerAdd(OperationObserver& observer) { observers_.push_back(&observer); }
    void observerDel(OperationObserver& observer) { std::erase(observers_, &observer); }

    // An effect that tells the observers of the operation, then calls `apply`. It borrows this.
    template <class F>
    Effect effect(Operation operation, F apply) const {
        return [this, operation = std::move(operation), apply = std::move(apply)] {
            for (OperationObserver* const observer : observers_) {
                observer->handleOperation(operation);
            }
            apply();
        };
    }

private:
    std::vector<OperationObserver*> observers_;
};

}  // namespace Routing
