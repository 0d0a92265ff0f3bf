#include "feeds/netlink/fake/MessageWriter.h"

#include <linux/if_arp.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace Netlink::Fake {

namespace {

using Messages::attribute;
using Messages::bytesOf;
using Messages::message;
using Messages::operator+;

constexpr std::uint32_t infiniteLifetime = 0xffffffff;

Bytes zeroEnded(std::string_view value) { return bytesOf(value) + Bytes(1); }

// The kernel tells none of a loopback.
std::string_view kindName(LinkKind kind) { return kind == LinkKind::loopback ? "" : nameOf(kind); }

unsigned interfaceFlags(Link const& link) {
    unsigned flags = link.kind == LinkKind::loopback ? IFF_LOOPBACK : IFF_BROADCAST | IFF_MULTICAST;
    if (link.kind == LinkKind::dummy || link.kind == LinkKind::vrf) {
        flags |= IFF_NOARP;
    }
    if (link.up) {
        flags |= IFF_UP;
        flags |= link.running() ? IFF_RUNNING : 0;
        flags |= link.carrier ? IFF_LOWER_UP : 0;
    }
    return flags;
}

Bytes info(Link const& link, unsigned family) {
    ifinfomsg header{};
    header.ifi_family = static_cast<std::uint8_t>(family);
    header.ifi_type = link.kind == LinkKind::loopback ? ARPHRD_LOOPBACK : ARPHRD_ETHER;
    header.ifi_index = static_cast<int>(link.place.ifIndex);
    header.ifi_flags = interfaceFlags(link);
    return bytesOf(header);
}

Bytes hardwareAddress(Link const& link) {
    if (link.kind == LinkKind::loopback) {
        return Bytes(6);
    }
    Bytes address{std::byte{2}, std::byte{0}};
    for (unsigned shift = 32; shift > 0;) {
        shift -= 8;
        address.push_back(static_cast<std::byte>(link.hardware >> shift & 0xff));
    }
    return address;
}

Bytes common(Link const& link) {
    bool const loopback = link.kind == LinkKind::loopback;
    std::uint8_t const operState = link.up ? link.operState : std::uint8_t{IF_OPER_DOWN};
    return attribute(IFLA_IFNAME, zeroEnded(link.name)) +
           attribute(IFLA_MTU, bytesOf(std::uint32_t{loopback ? 65536U : 1500U})) +
           attribute(IFLA_OPERSTATE, bytesOf(operState)) +
           attribute(IFLA_ADDRESS, hardwareAddress(link));
}

Bytes addressBytes(Nimb::IpGenAddr const& address) {
    Bytes const all = bytesOf(address.bytes());
    return address.family() == Nimb::AddressFamily::ipv4 ? Bytes(all.begin(), all.begin() + 4)
                                                         : all;
}

std::uint32_t remaining(double lifetime, double since, double now) {
    if (lifetime == forever) {
        return infiniteLifetime;
    }
    return static_cast<std::uint32_t>(std::max(0.0, lifetime - std::floor(now - since)));
}

}  // namespace

Bytes linkMessage(unsigned type, Link const& link, Envelope const& envelope, Bytes const& extra) {
    Bytes payload = info(link, AF_UNSPEC) + common(link) +
                    attribute(IFLA_CARRIER, bytesOf(std::uint8_t{link.carrier}));
    if (link.master != 0) {
        payload = payload + attribute(IFLA_MASTER, bytesOf(link.master));
    }
    if (link.peer.ifIndex != 0) {
        payload = payload + attribute(IFLA_LINK, bytesOf(link.peer.ifIndex));
        if (link.peer.network != link.place.network) {
            payload = payload + attribute(IFLA_LINK_NETNSID, bytesOf(0));
        }
    }
    if (auto const kind = kindName(link.kind); !kind.empty()) {
        payload = payload + attribute(IFLA_LINKINFO | NLA_F_NESTED,
                                      attribute(IFLA_INFO_KIND, zeroEnded(kind)));
    }
    return message(type, payload + extra, envelope);
}

Bytes bridgePortMessage(unsigned type, Link const& port, std::uint32_t bridge,
                        Envelope const& envelope) {
    return message(type,
                   info(port, AF_BRIDGE) + common(port) + attribute(IFLA_MASTER, bytesOf(bridge)) +
                       attribute(IFLA_PROTINFO | NLA_F_NESTED,
                                 attribute(IFLA_BRPORT_STATE, bytesOf(std::uint8_t{0}))),
                   envelope);
}

Bytes addressMessage(unsigned type, std::uint32_t ifIndex, Address const& address, double now,
                     Envelope const& envelope, Bytes const& extra) {
    ifaddrmsg header{};
    header.ifa_family = static_cast<std::uint8_t>(address.family());
    header.ifa_prefixlen = address.own.prefixLength();
    header.ifa_flags = static_cast<std::uint8_t>(address.flags);
    header.ifa_scope = address.scope;
    header.ifa_index = ifIndex;
    Bytes payload = bytesOf(header);
    bool const ip4 = address.family() == AF_INET;
    if (ip4 || address.peer.family() != Nimb::AddressFamily::unset) {
        payload = payload + attribute(IFA_ADDRESS, addressBytes(address.farEnd())) +
                  attribute(IFA_LOCAL, addressBytes(address.own.address()));
    } else {
        payload = payload + attribute(IFA_ADDRESS, addressBytes(address.own.address()));
    }
    if (ip4 && !address.label.empty()) {
        payload = payload + attribute(IFA_LABEL, zeroEnded(address.label));
    }
    ifa_cacheinfo const lifetimes{.ifa_prefered = remaining(address.preferred, address.since, now),
                                  .ifa_valid = remaining(address.valid, address.since, now),
                                  .cstamp = static_cast<std::uint32_t>(address.since * 100),
                                  .tstamp = static_cast<std::uint32_t>(address.since * 100)};
    return message(type,
                   payload + attribute(IFA_FLAGS, bytesOf(address.flags)) +
                       attribute(IFA_CACHEINFO, bytesOf(lifetimes)) + extra,
                   envelope);
}

Bytes unknownAttribute() { return attribute(250, Bytes(3)); }

Bytes doneMessage(int error, Envelope const& envelope) {
    return message(NLMSG_DONE, bytesOf(-error), envelope);
}

Bytes errorMessage(int error, nlmsghdr const& request, Envelope const& envelope) {
    return message(NLMSG_ERROR, bytesOf(nlmsgerr{.error = -error, .msg = request}), envelope);
}

}  // namespace Netlink::Fake
