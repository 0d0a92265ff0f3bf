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
    Nimb::IpAddrWithMask primary{};   // 0.0.0.0/0: none
    Nimb::IntfId unnumberedSource{};  // empty: numbered
    std::vector<Nimb::IpAddrWithMask> secondary{};

    friend bool operator==(IpIntf const&, IpIntf const&) = default;
};

struct Ip6IntfAddr {
    Nimb::Ip6AddrWithMask addr;
    bool deprecated = false;

    friend bool operator==(Ip6IntfAddr const&, Ip6IntfAddr const&) = default;
};

// What the kernel says of one interface.
struct KernelIntf {
    std::string deviceName{};
    std::uint32_t ifIndex = 0;
    Interface::OperStatus operStatus = Interface::OperStatus::up;
    bool active = true;

    friend bool operator==(KernelIntf const&, KernelIntf const&) = default;
};

struct ManagerStart {};
struct ManagerStop {};

struct TableAdd {
    L3::VrfName vrf;
};
struct TableDel {
    L3::VrfName vrf;
};

struct IpVrfAdd {
    L3::VrfName vrf;
};
struct IpVrfDel {
    L3::VrfName vrf;
};
struct Ip6VrfAdd {
    L3::VrfName vrf;
};
struct Ip6VrfDel {
    L3::VrfName vrf;
};

struct IpIntfAdd {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    IpIntf addressing;
};
struct IpIntfDel {
    L3::VrfName vrf;
    Nimb::IntfId intf;
};
struct Ip6IntfAdd {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    std::vector<Ip6IntfAddr> addrs;
};
struct Ip6IntfDel {
    L3::VrfName vrf;
    Nimb::IntfId intf;
};

struct IpPrimaryIs {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;
};
struct IpUnnumberedIs {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IntfId source;
};
struct IpSecondaryAdd {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;
};
struct IpSecondaryDel {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::IpAddrWithMask addr;
};
struct Ip6AddrSet {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Ip6IntfAddr addr;
};
struct Ip6AddrDel {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    Nimb::Ip6AddrWithMask addr;
};

struct KernelAdd {
    L3::VrfName vrf;
    Nimb::IntfId intf;
    KernelIntf kernelIntf;
};
struct KernelDel {
    L3::VrfName vrf;
    Nimb::IntfId intf;
};

struct VipAdd {
    L3::VrfName vrf;
    Nimb::IpAddrWithMask addr;
};
struct VipDel {
    L3::VrfName vrf;
    Nimb::IpAddrWithMask addr;
};
struct Vip6Add {
    L3::VrfName vrf;
    Nimb::Ip6Addr addr;
};
struct Vip6Del {
    L3::VrfName vrf;
    Nimb::Ip6Addr addr;
};

using Operation =
    std::variant<ManagerStart, ManagerStop, TableAdd, TableDel, IpVrfAdd, IpVrfDel, Ip6VrfAdd,
                 Ip6VrfDel, IpIntfAdd, IpIntfDel, Ip6IntfAdd, Ip6IntfDel, IpPrimaryIs,
                 IpUnnumberedIs, IpSecondaryAdd, IpSecondaryDel, Ip6AddrSet, Ip6AddrDel, KernelAdd,
                 KernelDel, VipAdd, VipDel, Vip6Add, Vip6Del>;

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
