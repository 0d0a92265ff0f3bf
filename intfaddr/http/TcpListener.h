// Listens for TCP at an address of this machine. Nobody knows who connects: it is for what anybody
// may see.
#pragma once

#include <cstdint>

#include "Nimb/IpGenAddr.h"
#include "intfaddr/http/Listener.h"

namespace IntfAddr {

class TcpListener final : public Listener {
public:
    // Port 0 is any that is free. Throws std::runtime_error, which names the address, the port and
    // the reason.
    TcpListener(Nimb::IpGenAddr const& address, std::uint16_t port);

    int socket() const override { return socket_.number(); }
    // With the port that it has.
    std::string name() const override { return name_; }
    std::optional<Peer> peerOf(Netlink::Descriptor const&) const override { return std::nullopt; }

private:
    Netlink::Descriptor const socket_;
    std::string const name_;
};

}  // namespace IntfAddr
