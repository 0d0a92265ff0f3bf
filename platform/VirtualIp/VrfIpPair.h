// A virtual IPv6 address: the VRF that it belongs to, and the address.
// Sorts by VRF name, then by address.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "L3/VrfName.h"
#include "Nimb/Ip6Addr.h"

namespace VirtualIp {

class VrfIpPair {
public:
    VrfIpPair() = default;
    VrfIpPair(L3::VrfName vrfName, Nimb::Ip6Addr const& addr)
        : vrfName_(std::move(vrfName)), addr_(addr) {}

    L3::VrfName const& vrfName() const { return vrfName_; }
    Nimb::Ip6Addr const& addr() const { return addr_; }

    std::uint32_t hash(std::uint32_t seed = 0) const;
    // "vrfName=red;addr=2001:db8::1"
    std::string toStrep() const;

    friend bool operator==(VrfIpPair const&, VrfIpPair const&) = default;
    friend std::strong_ordering operator<=>(VrfIpPair const&, VrfIpPair const&) = default;

private:
    L3::VrfName vrfName_;
    Nimb::Ip6Addr addr_;
};

std::string valueToStrep(VrfIpPair const& pair);
VrfIpPair fromStrep(std::type_identity<VrfIpPair>, std::string_view text);
VrfIpPair readValue(std::type_identity<VrfIpPair>, Zin::TextReader& reader);

}  // namespace VirtualIp
