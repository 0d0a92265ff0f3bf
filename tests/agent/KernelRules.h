// What an agent has to publish of a kernel, stated plainly and from all that the kernel holds.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "Interface/OperStatus.h"
#include "L3/VrfName.h"
#include "Nimb/IntfId.h"
#include "Nimb/Ip6AddrWithMask.h"
#include "Nimb/IpAddrWithMask.h"
#include "feeds/netlink/fake/FakeKernel.h"

namespace Simulated {

struct WantedIntf {
    std::uint32_t ifIndex = 0;
    Interface::OperStatus operStatus = Interface::OperStatus::unknown;
    bool up = false;
    std::vector<Nimb::IpAddrWithMask> ip4{};     // in the kernel's order
    std::set<Nimb::IpAddrWithMask> primaries{};  // those that may be the primary one
    std::set<Nimb::IntfId> lenders{};            // it is unnumbered if there are any
    // Whether it is deprecated; nothing in the second before it is, which a dump rounds away.
    std::map<Nimb::Ip6AddrWithMask, std::optional<bool>> ip6{};
    // Those that may be published or not: dumps show of them what the kernel has not told.
    std::set<Nimb::Ip6AddrWithMask> untold{};
    // Those that are not published, and whether they are duplicates; the others are tentative.
    std::map<Nimb::Ip6AddrWithMask, bool> keptBack{};
};

struct WantedVrf {
    // That of the namespace in which it is.
    L3::VrfName home{};
    std::map<Nimb::IntfId, WantedIntf> intfs{};
};

using Wanted = std::map<L3::VrfName, WantedVrf>;

// Of the names of one namespace any may be its VRF's that is not `refused`, if there is one.
Wanted wantedOf(Netlink::Fake::FakeKernel& kernel, std::set<std::string> const& refused);

}  // namespace Simulated
