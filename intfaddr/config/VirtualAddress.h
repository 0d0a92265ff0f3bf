// A virtual address of a VRF, of which it does not matter whether it is there.
#pragma once

#include <compare>
#include <set>

#include "L3/VrfName.h"
#include "Nimb/IpGenAddr.h"

namespace IntfAddr {

struct VirtualAddress {
    L3::VrfName vrf{};
    Nimb::IpGenAddr addr{};

    friend bool operator==(VirtualAddress const&, VirtualAddress const&) = default;
    friend auto operator<=>(VirtualAddress const&, VirtualAddress const&) = default;
};

using VirtualAddressSet = std::set<VirtualAddress>;

}  // namespace IntfAddr
