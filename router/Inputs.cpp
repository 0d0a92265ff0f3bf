#include "router/Inputs.h"

#include <utility>

#include "Zin/Format.h"
#include "router/OperationError.h"

namespace Routing {

namespace {

template <class... Args>
void require(bool holds, fmt::format_string<Args...> format, Args&&... args) {
    if (!holds) {
        throw OperationError(fmt::format(format, std::forward<Args>(args)...));
    }
}

Zin::Ptr<Ip::VrfIpIntfStatus> ipVrf(Ip::Status const& status, L3::VrfName const& vrf) {
    auto found = status.vrfIpIntfStatus(vrf);
    require(bool(found), "VRF '{}' has no IPv4 status", vrf);
    return found;
}

Zin::Ptr<Ip6::VrfIp6IntfStatus> ip6Vrf(Ip6::Status const& status, L3::VrfName const& vrf) {
    auto found = status.vrfIp6IntfStatus(vrf);
    require(bool(found), "VRF '{}' has no IPv6 status", vrf);
    return found;
}

}  // namespace

namespace {

// What sets one value; what replaces something whole tells of it also where it is alike.
struct SetAlready {
    Inputs const& inputs;

    Zin::Ptr<Ip::IpIntfStatus> ipIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const {
        auto const status = inputs.ipStatus()->vrfIpIntfStatus(vrf);
        return status ? status->ipIntfStatus(intf) : nullptr;
    }
    bool operator()(IpPrimaryIs const& op) const {
        auto const status = ipIntf(op.vrf, op.intf);
        return status && status->activeAddrWithMask() == op.addr;
    }
    bool operator()(IpUnnumberedIs const& op) const {
        auto const status = ipIntf(op.vrf, op.intf);
        return status && status->unnumberedIntfId() == op.source;
    }
    bool operator()(IpSecondaryAdd const& op) const {
        auto const status = ipIntf(op.vrf, op.intf);
        return status && status->secondaryActiveAddrWithMaskHas(op.addr);
    }
    bool operator()(Ip6AddrSet const& op) const {
        auto const vrfStatus = inputs.ip6Status()->vrfIp6IntfStatus(op.vrf);
        auto const status = vrfStatus ? vrfStatus->intfStatus(op.intf) : nullptr;
        auto const* const info = status ? status->addr().find(op.addr.addr) : nullptr;
        return info && info->deprecated == op.addr.deprecated;
    }
    bool operator()(VipAdd const& op) const {
        return inputs.virtualIpStatus()->virtualIpHas({op.vrf, op.addr});
    }
    bool operator()(Vip6Add const& op) const {
        return inputs.virtualIp6Status()->virtualIp6Has({op.vrf, op.addr});
    }
    template <class Op>
    bool operator()(Op const&) const {
        return false;
    }
};

}  // namespace

bool Inputs::isSet(Operation const& operation) const {
    return std::visit(SetAlready{*this}, operation);
}

void checkName(L3::VrfName const& vrf) { require(!vrf.empty(), "the VRF name is empty"); }
void checkName(Nimb::IntfId const& intf) { require(!intf.empty(), "the interface name is empty"); }

Inputs::Inputs()
    : ipStatus_(Ip::statusFactory()),
      ip6Status_(Ip6::statusFactory()),
      virtualIpStatus_(VirtualIp::virtualIpStatusFactory()),
      virtualIp6Status_(VirtualIp::virtualIp6StatusFactory()),
      kniIntfStatusHelper_(Interface::kniIntfStatusHelperFactory()) {}

Zin::Ptr<Ip::IpIntfStatus> Inputs::ipIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const {
    auto found = ipVrf(*ipStatus_, vrf)->ipIntfStatus(intf);
    require(bool(found), "interface '{}' of VRF '{}' has no IPv4 status", intf, vrf);
    return found;
}

Zin::Ptr<Ip6::IntfStatus> Inputs::ip6Intf(L3::VrfName const& vrf, Nimb::IntfId const& intf) const {
    auto found = ip6Vrf(*ip6Status_, vrf)->intfStatus(intf);
    require(bool(found), "interface '{}' of VRF '{}' has no IPv6 status", intf, vrf);
    return found;
}

Effect Inputs::ipVrfAdd(L3::VrfName const& vrf) {
    checkName(vrf);
    return effects_.effect(IpVrfAdd{vrf}, [this, vrf] {
        ipStatus_->vrfIpIntfStatusIs(vrf, Ip::vrfIpIntfStatusFactory());
    });
}

Effect Inputs::ipVrfDel(L3::VrfName const& vrf) {
    ipVrf(*ipStatus_, vrf);
    return effects_.effect(IpVrfDel{vrf}, [this, vrf] { ipStatus_->vrfIpIntfStatusDel(vrf); });
}

Effect Inputs::ip6VrfAdd(L3::VrfName const& vrf) {
    checkName(vrf);
    return effects_.effect(Ip6VrfAdd{vrf}, [this, vrf] {
        ip6Status_->vrfIp6IntfStatusIs(vrf, Ip6::vrfIp6IntfStatusFactory());
    });
}

Effect Inputs::ip6VrfDel(L3::VrfName const& vrf) {
    ip6Vrf(*ip6Status_, vrf);
    return effects_.effect(Ip6VrfDel{vrf}, [this, vrf] { ip6Status_->vrfIp6IntfStatusDel(vrf); });
}

Effect Inputs::ipIntfAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                         IpIntf const& addressing) {
    checkName(intf);
    return effects_.effect(IpIntfAdd{vrf, intf, addressing},
                           [status = ipVrf(*ipStatus_, vrf), intf, addressing] {
                               auto const intfStatus = Ip::ipIntfStatusFactory(intf);
                               intfStatus->activeAddrWithMaskIs(addressing.primary);
                               intfStatus->unnumberedIntfIdIs(addressing.unnumberedSource);
                               for (auto const& addr : addressing.secondary) {
                                   intfStatus->secondaryActiveAddrWithMaskIs(addr);
                               }
                               status->ipIntfStatusIs(intfStatus);
                           });
}

Effect Inputs::ipIntfDel(L3::VrfName const& vrf, Nimb::IntfId const& intf) {
    ipIntf(vrf, intf);
    return effects_.effect(IpIntfDel{vrf, intf}, [status = ipVrf(*ipStatus_, vrf), intf] {
        status->ipIntfStatusDel(intf);
    });
}

Effect Inputs::ip6IntfAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          std::vector<Ip6IntfAddr> const& addrs) {
    checkName(intf);
    return effects_.effect(Ip6IntfAdd{vrf, intf, addrs},
                           [status = ip6Vrf(*ip6Status_, vrf), intf, addrs] {
                               auto const intfStatus = Ip6::intfStatusFactory(intf);
                               for (auto const& [addr, deprecated] : addrs) {
                                   intfStatus->addrIs(addr, {.deprecated = deprecated});
                               }
                               status->intfStatusIs(intfStatus);
                           });
}

Effect Inputs::ip6IntfDel(L3::VrfName const& vrf, Nimb::IntfId const& intf) {
    ip6Intf(vrf, intf);
    return effects_.effect(Ip6IntfDel{vrf, intf}, [status = ip6Vrf(*ip6Status_, vrf), intf] {
        status->intfStatusDel(intf);
    });
}

Effect Inputs::ipPrimaryIs(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                           Nimb::IpAddrWithMask const& addr) {
    return effects_.effect(IpPrimaryIs{vrf, intf, addr}, [status = ipIntf(vrf, intf), addr] {
        status->activeAddrWithMaskIs(addr);
    });
}

Effect Inputs::ipUnnumberedIs(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                              Nimb::IntfId const& source) {
    return effects_.effect(IpUnnumberedIs{vrf, intf, source}, [status = ipIntf(vrf, intf), source] {
        status->unnumberedIntfIdIs(source);
    });
}

Effect Inputs::ipSecondaryAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                              Nimb::IpAddrWithMask const& addr) {
    return effects_.effect(IpSecondaryAdd{vrf, intf, addr}, [status = ipIntf(vrf, intf), addr] {
        status->secondaryActiveAddrWithMaskIs(addr);
    });
}

Effect Inputs::ipSecondaryDel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                              Nimb::IpAddrWithMask const& addr) {
    auto const status = ipIntf(vrf, intf);
    require(status->secondaryActiveAddrWithMaskHas(addr),
            "interface '{}' of VRF '{}' has no secondary address {}", intf, vrf, addr);
    return effects_.effect(IpSecondaryDel{vrf, intf, addr},
                           [status, addr] { status->secondaryActiveAddrWithMaskDel(addr); });
}

Effect Inputs::ip6AddrSet(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          Ip6IntfAddr const& addr) {
    return effects_.effect(Ip6AddrSet{vrf, intf, addr}, [status = ip6Intf(vrf, intf), addr] {
        status->addrIs(addr.addr, {.deprecated = addr.deprecated});
    });
}

Effect Inputs::ip6AddrDel(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                          Nimb::Ip6AddrWithMask const& addr) {
    auto const status = ip6Intf(vrf, intf);
    require(status->addrHas(addr), "interface '{}' of VRF '{}' has no address {}", intf, vrf, addr);
    return effects_.effect(Ip6AddrDel{vrf, intf, addr}, [status, addr] { status->addrDel(addr); });
}

Effect Inputs::kernelAdd(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                         KernelIntf const& kernelIntf) {
    checkName(vrf);
    checkName(intf);
    return effects_.effect(
        KernelAdd{vrf, intf, kernelIntf},
        [dir = kniIntfStatusHelper_->deviceIntfStatusDir(vrf), intf, kernelIntf] {
            dir->deviceIntfStatusIs(
                Interface::deviceIntfStatusFactory(intf, kernelIntf.deviceName, kernelIntf.ifIndex,
                                                   kernelIntf.operStatus, kernelIntf.active));
        });
}

Effect Inputs::kernelDel(L3::VrfName const& vrf, Nimb::IntfId const& intf) {
    checkName(vrf);
    checkName(intf);
    auto const dir = kniIntfStatusHelper_->deviceIntfStatusDir(vrf);
    require(dir->deviceIntfStatusHas(intf), "the kernel has no interface '{}' in VRF '{}'", intf,
            vrf);
    return effects_.effect(KernelDel{vrf, intf}, [dir, intf] { dir->deviceIntfStatusDel(intf); });
}

Effect Inputs::vipAdd(L3::VrfName const& vrf, Nimb::IpAddrWithMask const& addr) {
    checkName(vrf);
    return effects_.effect(VipAdd{vrf, addr}, [this, vrf, addr] {
        virtualIpStatus_->virtualIpIs({vrf, addr});
    });
}

Effect Inputs::vipDel(L3::VrfName const& vrf, Nimb::IpAddrWithMask const& addr) {
    require(virtualIpStatus_->virtualIpHas({vrf, addr}), "VRF '{}' has no virtual address {}", vrf,
            addr);
    return effects_.effect(VipDel{vrf, addr}, [this, vrf, addr] {
        virtualIpStatus_->virtualIpDel({vrf, addr});
    });
}

Effect Inputs::vip6Add(L3::VrfName const& vrf, Nimb::Ip6Addr const& addr) {
    checkName(vrf);
    return effects_.effect(Vip6Add{vrf, addr}, [this, vrf, addr] {
        virtualIp6Status_->virtualIp6Is({vrf, addr});
    });
}

Effect Inputs::vip6Del(L3::VrfName const& vrf, Nimb::Ip6Addr const& addr) {
    require(virtualIp6Status_->virtualIp6Has({vrf, addr}), "VRF '{}' has no virtual address {}",
            vrf, addr);
    return effects_.effect(Vip6Del{vrf, addr}, [this, vrf, addr] {
        virtualIp6Status_->virtualIp6Del({vrf, addr});
    });
}

}  // namespace Routing
