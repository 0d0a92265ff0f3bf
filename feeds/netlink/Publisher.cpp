#include "feeds/netlink/Publisher.h"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace Netlink {

namespace {

// The addresses of one interface; the snapshot has them side by side.
std::span<Address const> addressesOf(Snapshot const& snapshot, std::uint32_t ifIndex) {
    auto const& all = snapshot.addresses;
    return {std::ranges::lower_bound(all, ifIndex, {}, &Address::ifIndex),
            std::ranges::upper_bound(all, ifIndex, {}, &Address::ifIndex)};
}

Routing::IpIntf ipAddressing(std::span<Address const> addresses) {
    Routing::IpIntf addressing;
    bool hasPrimary = false;
    for (Address const& address : addresses) {
        if (address.addr.family() != Nimb::AddressFamily::ipv4) {
            continue;
        }
        Nimb::IpAddrWithMask const addr(address.addr.address().ip4(), address.addr.prefixLength());
        if (!hasPrimary && !address.secondary) {
            addressing.primary = addr;
            hasPrimary = true;
        } else {
            addressing.secondary.push_back(addr);
        }
    }
    return addressing;
}

std::vector<Routing::Ip6IntfAddr> ip6Addressing(std::span<Address const> addresses) {
    std::vector<Routing::Ip6IntfAddr> addrs;
    for (Address const& address : addresses) {
        if (address.addr.family() == Nimb::AddressFamily::ipv6 && !address.tentative &&
            !address.dadFailed) {
            addrs.push_back({.addr = {address.addr.address().ip6(), address.addr.prefixLength()},
                             .deprecated = address.deprecated && !address.addr.isV6LinkLocal()});
        }
    }
    return addrs;
}

}  // namespace

void publish(Snapshot const& snapshot, L3::VrfName const& vrf, Routing::Inputs& inputs) {
    for (Link const& link : snapshot.links) {
        inputs
            .kernelAdd(vrf, link.name,
                       {.deviceName = std::string(link.name.name()),
                        .ifIndex = link.ifIndex,
                        .operStatus = link.operStatus,
                        .active = link.up})
            .apply();
    }
    inputs.ipVrfAdd(vrf).apply();
    for (Link const& link : snapshot.links) {
        inputs.ipIntfAdd(vrf, link.name, ipAddressing(addressesOf(snapshot, link.ifIndex))).apply();
    }
    inputs.ip6VrfAdd(vrf).apply();
    for (Link const& link : snapshot.links) {
        inputs.ip6IntfAdd(vrf, link.name, ip6Addressing(addressesOf(snapshot, link.ifIndex)))
            .apply();
    }
}

}  // namespace Netlink
