// The hash of an address with its prefix length as tests work it out: in plain numbers, one step a
// line, each cut to 32 bits.
#pragma once

#include <cstdint>

#include "Nimb/IpGenAddr.h"

namespace TestKit {

inline std::uint32_t prefixHash(Nimb::IpGenAddr const& address, std::uint64_t prefixLength) {
    std::uint64_t number = 0;
    if (address.family() == Nimb::AddressFamily::ipv4) {
        for (int i = 0; i < 4; ++i) {
            number = 256 * number + address.bytes()[static_cast<std::size_t>(i)];
        }
    } else if (address.family() == Nimb::AddressFamily::ipv6) {
        number = Nimb::Ip6Addr(address.bytes()).hash();
    } else {
        return 0;
    }
    std::uint64_t const word = std::uint64_t{1} << 32;
    std::uint64_t const x = ((prefixLength ^ number) * 32767 + word - 1) % word;
    std::uint64_t const y = ((x ^ (x / 4096)) * 5) % word;
    std::uint64_t const z = ((y ^ (y / 16)) * 2057) % word;
    return static_cast<std::uint32_t>(z ^ (z / 65536));
}

}  // namespace TestKit
