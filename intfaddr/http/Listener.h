// A socket that clients connect to, and what is known of them.
#pragma once

#include <optional>
#include <string>

#include "feeds/netlink/Descriptor.h"
#include "intfaddr/http/Request.h"

namespace IntfAddr {

class Listener {
public:
    virtual ~Listener() = default;

    // It listens, and does not block.
    virtual int socket() const = 0;
    // Where clients find it, for people.
    virtual std::string name() const = 0;
    // Who is at the other end of a socket that was accepted; none where nobody can know.
    virtual std::optional<Peer> peerOf(Netlink::Descriptor const& client) const = 0;
};

}  // namespace IntfAddr
