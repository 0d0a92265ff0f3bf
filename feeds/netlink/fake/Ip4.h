// What Linux does with the IPv4 addresses of a link, and what it tells of it in which order
// (net/ipv4/devinet.c). Errors are errnos, 0 is success.
#pragma once

#include "feeds/netlink/fake/Announcer.h"
#include "feeds/netlink/fake/Network.h"

namespace Netlink::Fake {

class Ip4 {
public:
    explicit Ip4(Announcer& announcer) : announcer_(announcer) {}

    // A second address of a subnet is a secondary one and stands last; primary ones stand in order
    // of their scopes, the narrowest first.
    int add(Network& network, Link& link, Address const& address);
    // Adds it, or gives it other lifetimes where it is there.
    int replace(Network& network, Link& link, Address const& address);
    // The secondaries of a primary address go with it, or the first of them takes its place.
    int remove(Network& network, Link& link, Address const& address);

    void linkWentUp(Network& network, Link& link);
    // The labels follow, and all addresses are told again.
    void linkWasRenamed(Network& network, Link& link);
    void linkGoes(Network& network, Link& link);

    // When lifetimes have to be looked at again.
    double nextExpiry(Link const& link) const;
    void expire(Network& network, Link& link);

private:
    int insert(Network& network, Link& link, Address address, Requester const& requester);
    void removeAt(Network& network, Link& link, std::size_t position, Requester const& requester);
    void promote(Network& network, Link& link, std::size_t position, std::uint8_t scope,
                 Requester const& requester);

    Announcer& announcer_;
};

}  // namespace Netlink::Fake
