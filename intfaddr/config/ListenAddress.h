// Where programs may ask over TCP: an address of this machine's loopback, and a port.
#pragma once

#include <cstdint>
#include <string_view>

#include "Nimb/IpGenAddr.h"

namespace IntfAddr {

struct ListenAddress {
    Nimb::IpGenAddr address{};
    std::uint16_t port = 0;  // 0 is any that is free

    friend bool operator==(ListenAddress const&, ListenAddress const&) = default;
};

// Of "127.0.0.1:9179" or "[::1]:9179". Throws std::runtime_error, which names the text.
ListenAddress readListenAddress(std::string_view text);

}  // namespace IntfAddr
