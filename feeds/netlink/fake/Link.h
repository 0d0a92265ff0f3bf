// A link of the fake kernel with the addresses that stand on it, as judges may look at it.
#pragma once

#include <linux/if.h>
#include <linux/if_addr.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Nimb/IpGenAddrWithMask.h"
#include "feeds/netlink/Kernel.h"

namespace Netlink::Fake {

constexpr double forever = std::numeric_limits<double>::infinity();
constexpr double never = forever;

struct Address {
    Nimb::IpGenAddrWithMask own;
    // The other end of a point-to-point link, whose subnet it is then. Unset where there is none.
    Nimb::IpGenAddr peer{};
    // IPv4's is what the requester says; of IPv6 the address says it.
    std::uint8_t scope = 0;
    std::uint32_t flags = 0;  // IFA_F_*
    // In seconds from `since`, when they were set.
    double preferred = forever;
    double valid = forever;
    double since = 0;
    std::string label{};        // IPv4 alone; that of the link where the requester says none
    double dadEnds = never;     // when duplicate address detection is over, while it runs
    bool outlivedDown = false;  // so that it begins anew when the link comes up
    // Its flags when its namespace was last told of it; nothing where that has not been.
    std::optional<std::uint32_t> told{};

    unsigned family() const {
        return own.family() == Nimb::AddressFamily::ipv4 ? AF_INET : AF_INET6;
    }
    bool has(std::uint32_t flag) const { return (flags & flag) != 0; }
    void clear(std::uint32_t cleared) { flags &= ~cleared; }
    // What the kernel tells as IFA_ADDRESS.
    Nimb::IpGenAddr const& farEnd() const {
        return peer.family() == Nimb::AddressFamily::unset ? own.address() : peer;
    }

    friend bool operator==(Address const&, Address const&) = default;
};

// Where a link is. No link has index 0.
struct Place {
    NamespaceId network{};
    std::uint32_t ifIndex = 0;

    friend auto operator<=>(Place const&, Place const&) = default;
};

enum class LinkKind { loopback, veth, dummy, bridge, vrf };

constexpr std::string_view nameOf(LinkKind kind) {
    constexpr std::array<std::string_view, 5> names{"loopback", "veth", "dummy", "bridge", "vrf"};
    return names[static_cast<std::size_t>(kind)];
}

struct Link {
    Place place;
    std::string name;
    LinkKind kind = LinkKind::dummy;
    bool up = false;
    std::uint32_t master = 0;
    Place peer{};  // of a veth
    // Follows from what is up; operState follows it once the kernel has had a look.
    bool carrier = false;
    std::uint8_t operState = IF_OPER_UNKNOWN;
    double looksAt = never;
    std::uint32_t hardware = 0;  // tells its hardware address, and so its link-local one
    bool ip6Ready = false;
    // In the kernel's order.
    std::vector<Address> ip4{};
    std::vector<Address> ip6{};

    bool running() const { return up && (operState == IF_OPER_UP || operState == IF_OPER_UNKNOWN); }
    bool isMaster() const { return kind == LinkKind::bridge || kind == LinkKind::vrf; }

    friend bool operator==(Link const&, Link const&) = default;
};

}  // namespace Netlink::Fake
