// Which addresses a question is about. What is not said does not matter.
#pragma once

#include <optional>

#include "L3/VrfName.h"
#include "Nimb/IntfId.h"
#include "Nimb/IpGenPrefix.h"
#include "intfaddr/answer/AddressState.h"

namespace IntfAddr {

struct Filter {
    std::optional<L3::VrfName> vrf{};
    std::optional<Nimb::IntfId> intf{};
    std::optional<Nimb::AddressFamily> family{};
    // The address itself, and those in the subnet.
    std::optional<Nimb::IpGenAddr> addr{};
    std::optional<Nimb::IpGenPrefix> prefix{};
    std::optional<AddressState> state{};

    // But for the VRF and the state. Who is on no interface has an empty name.
    bool admits(Nimb::IntfId const& on, Nimb::IpGenAddr const& address) const {
        return (!intf || *intf == on) && (!family || *family == address.family()) &&
               (!addr || *addr == address) &&
               (!prefix || (prefix->family() == address.family() &&
                            Nimb::IpGenPrefix(address, prefix->prefixLength()) == *prefix));
    }
};

}  // namespace IntfAddr
