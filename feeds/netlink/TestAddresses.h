// For tests: links and addresses as the kernel tells them.
#pragma once

#include <cstdint>
#include <string_view>

#include "feeds/netlink/Message.h"

namespace Netlink {

inline Link linkOf(std::uint32_t ifIndex, std::string_view name,
                   Link::Kind kind = Link::Kind::other) {
    return {.ifIndex = ifIndex,
            .name = Nimb::IntfId(name),
            .operStatus = Interface::OperStatus::up,
            .up = true,
            .kind = kind};
}

inline Link memberOf(std::uint32_t master, std::uint32_t ifIndex, std::string_view name) {
    Link link = linkOf(ifIndex, name);
    link.master = master;
    return link;
}

inline Address addressOf(std::string_view text) {
    Nimb::IpGenAddrWithMask const addr(text);
    return {.ifIndex = 1,
            .local = addr.address(),
            .peer = addr.address(),
            .prefixLength = addr.prefixLength()};
}

inline Address on(std::uint32_t ifIndex, Address address) {
    address.ifIndex = ifIndex;
    return address;
}

inline Address ip4Address(std::string_view text) { return addressOf(text); }

inline Address secondary(std::string_view text) {
    Address address = addressOf(text);
    address.secondary = true;
    return address;
}

inline Address scoped(std::string_view text, std::uint8_t scope) {
    Address address = addressOf(text);
    address.scope = scope;
    return address;
}

inline Address withPeer(std::string_view local, std::string_view peer) {
    Address address = addressOf(peer);
    address.local = Nimb::IpGenAddr(local);
    return address;
}

}  // namespace Netlink
