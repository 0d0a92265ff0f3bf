// The hash of an address with its prefix length that the rows and keys of address tables mix into
// theirs: one integer mix over the address (an IPv6 address by its own hash) and the length; 0
// where there is no address.
//
// Under every hash key IPv4 addresses that make up for their lengths hash alike (10.0.0.0/8 and
// 10.0.0.1/9). So whoever mixes this in mixes in what tells them apart as well: the length or the
// address.
#pragma once

#include <cstdint>

#include "Nimb/IpGenAddr.h"

namespace Nimb {

// See above. `address` may have host bits, which count.
inline std::uint32_t prefixHash(IpGenAddr const& address, std::uint8_t prefixLength) {
    if (address.family() == AddressFamily::unset) {
        return 0;
    }
    std::uint32_t const addressHash =
        address.family() == AddressFamily::ipv4 ? address.ip4().value() : address.ip6().hash();
    std::uint32_t h = (prefixLength ^ addressHash) * 32767 - 1;
    h = (h ^ (h >> 12)) * 5;
    h = (h ^ (h >> 4)) * 2057;
    return h ^ (h >> 16);
}

}  // namespace Nimb
