// A virtual IPv4 address: the VRF that it belongs to, and the address with its prefix length.
// Sorts by VRF name, then by address.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "L3/VrfName.h"
#include "Nimb/IpAddrWithMask.h"

namespace VirtualIp {

class VrfIpWithMaskPair {
public:
    VrfIpWithMaskPair() = default;
    VrfIpWithMaskPair(L3::VrfName vrfName, Nimb::IpAddrWithMask const& addrWithMask)
        : vrfName_(std::move(vrfName)), addrWithMask_(addrWithMask) {}

    L3::VrfName const& vrfName() const { return vrfName_; }
    Nimb::IpAddrWithMask const& addrWithMask() const { return addrWithMask_; }

    std::uint32_t hash(std::uint32_t seed = 0) const;
    // "vrfName=red;addrWithMask=10.0.0.1/24"
    std::string toStrep() const;

    friend bool operator==(VrfIpWithMaskPair const&, VrfIpWithMaskPair const&) = default;
    friend std::strong_ordering operator<=>(VrfIpWithMaskPair const&,
                                            VrfIpWithMaskPair const&) = default;

private:
    L3::VrfName vrfName_;
    Nimb::IpAddrWithMask addrWithMask_;
};

std::string valueToStrep(VrfIpWithMaskPair const& pair);
VrfIpWithMaskPair fromStrep(std::type_identity<VrfIpWithMaskPair>, std::string_view text);
VrfIpWithMaskPair readValue(std::type_identity<VrfIpWithMaskPair>, Zin::TextReader& reader);

}  // namespace VirtualIp
