// From a mirror of the kernel to what is published of it: for each address of a link whether it is
// published, and as what, or why not. A pure function, which the agent and a single look share.
//
// An interface's primary address is the first that the kernel does not call secondary; one that was
// published as such stays it while that still holds. IPv4 addresses are not published as
// deprecated, nor are IPv6 link-local ones, which address tables could not carry.
//
// An interface whose only IPv4 address stands alone (/32), and stands so on a loopback, dummy or
// VRF device of the same VRF too, borrows it from there: it is unnumbered. So many point-to-point
// links may share one address.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "feeds/netlink/Mirror.h"
#include "router/Operation.h"

namespace Netlink {

// What the operator decides.
struct Policy {
    // Names of interfaces that are left out, with * and ? as in file names.
    std::vector<std::string> leftOut{};
    // Whether interfaces may be unnumbered.
    bool borrows = true;

    bool leavesOut(Nimb::IntfId const& intf) const;

    friend bool operator==(Policy const&, Policy const&) = default;
};

enum class Place {
    published,
    tentative,  // duplicate address detection still runs (RFC 4862 section 5.4)
    duplicate,  // somebody else on the link has it
    repeated,   // the interface has it already, with another peer
    leftOut,    // with its interface, by the policy
};

// As it is told to people.
std::string_view toStrep(Place place);

struct AddressPicture {
    Nimb::IpGenAddrWithMask addr{};
    Place place = Place::published;
    // Deprecated, and published as preferred, because it is link-local.
    bool deprecatedLinkLocal = false;
    // Its device is down, administratively or because nothing is at its other end.
    bool deviceDown = false;
};

// What is published for one link.
struct LinkStatus {
    Nimb::IntfId intf{};
    Routing::KernelIntf device{};
    Routing::IpIntf ip{};                     // secondaries sorted
    std::vector<Routing::Ip6IntfAddr> ip6{};  // sorted

    friend bool operator==(LinkStatus const&, LinkStatus const&) = default;
};

struct LinkPicture {
    // Nothing where the link is left out, has no name, or is not there at all.
    std::optional<LinkStatus> status{};
    std::vector<AddressPicture> addresses{};
};

// `before` is the primary address that is published for the link so far; 0.0.0.0/0: none.
LinkPicture pictureOf(Mirror const& mirror, std::uint32_t ifIndex, Policy const& policy,
                      Nimb::IpAddrWithMask const& before = {});

}  // namespace Netlink
