// The state of an address that stands on an interface, with the names and the meaning that the IP
// MIB and the network models give it (IpAddressStatusTC of RFC 4293).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace IntfAddr {

enum class AddressState : std::uint8_t {
    preferred,
    deprecated,    // still there, and not to be used for what is new (RFC 4862)
    invalid,       // nobody publishes it any more, and its row has not been cleaned up yet
    inaccessible,  // its interface is down
    tentative,     // duplicate address detection still runs
    duplicate,     // somebody else on the link has it
};

inline constexpr std::array addressStates{
    AddressState::preferred,    AddressState::deprecated, AddressState::invalid,
    AddressState::inaccessible, AddressState::tentative,  AddressState::duplicate,
};

// In capitals.
std::string_view toStrep(AddressState state);

}  // namespace IntfAddr
