#include "router/Published.h"

namespace Routing {

Published::Published(Inputs const& inputs, L3::VrfName const& vrf, bool ignoresDevices)
    : inputs_(inputs),
      vrf_(vrf),
      devices_(ignoresDevices ? nullptr : inputs.kniIntfStatusHelper()->deviceIntfStatusDir(vrf)) {}

Zin::Ptr<Ip::VrfIpIntfStatus> Published::ipStatus() const {
    return inputs_.ipStatus()->vrfIpIntfStatus(vrf_);
}

Zin::Ptr<Ip6::VrfIp6IntfStatus> Published::ip6Status() const {
    return inputs_.ip6Status()->vrfIp6IntfStatus(vrf_);
}

bool Published::hasDevice(Nimb::IntfId const& intf) const {
    return !devices_ || devices_->deviceIntfStatusHas(intf);
}

std::optional<bool> Published::deprecated(IpLib::IntfAddrWithMaskKey const& key) const {
    auto const& [intf, addr] = key;
    if (addr.family() == Nimb::AddressFamily::ipv4) {
        auto const vrfStatus = ipStatus();
        auto const status = vrfStatus ? vrfStatus->ipIntfStatus(intf) : nullptr;
        Nimb::IpAddrWithMask const wanted(addr.address().ip4(), addr.prefixLength());
        if (status && ((hasPrimary(*status) && status->activeAddrWithMask() == wanted) ||
                       status->secondaryActiveAddrWithMaskHas(wanted))) {
            return false;
        }
        return std::nullopt;
    }
    auto const vrfStatus = ip6Status();
    auto const status = vrfStatus ? vrfStatus->intfStatus(intf) : nullptr;
    auto const* const info =
        status ? status->addr().find({addr.address().ip6(), addr.prefixLength()}) : nullptr;
    return info ? std::optional(info->deprecated) : std::nullopt;
}

std::optional<IpLib::IntfAddrWithMaskKey> Published::linkLocal(Nimb::IntfId const& intf,
                                                               Nimb::IpGenAddr const& addr) const {
    auto const vrfStatus = ip6Status();
    if (auto const status = vrfStatus ? vrfStatus->intfStatus(intf) : nullptr) {
        for (auto const& member : status->addr()) {
            if (Nimb::IpGenAddr(member.key.address()) == addr) {
                return IpLib::IntfAddrWithMaskKey{intf, member.key};
            }
        }
    }
    return std::nullopt;
}

bool Published::hasVirtual(Nimb::IpGenAddr const& addr) const {
    if (addr.family() == Nimb::AddressFamily::ipv6) {
        return inputs_.virtualIp6Status()->virtualIp6Has({vrf_, addr.ip6()});
    }
    auto const& published = *inputs_.virtualIpStatus();
    for (std::uint8_t length = 0; length <= Nimb::maxPrefixLength(addr.family()); ++length) {
        if (published.virtualIpHas({vrf_, Nimb::IpAddrWithMask(addr.ip4(), length)})) {
            return true;
        }
    }
    return false;
}

}  // namespace Routing
