// Tells the listeners of a namespace what has become of its links and addresses, and notes for the
// dumps that run that something has.
#pragma once

#include <cstdint>

#include "feeds/netlink/fake/Faults.h"
#include "feeds/netlink/fake/MessageWriter.h"
#include "feeds/netlink/fake/Network.h"

namespace Netlink::Fake {

// Whose request it was. A notification names its port and its sequence number, or none where the
// kernel did something by itself, or speaks of IPv6.
struct Requester {
    std::uint32_t port = 0;
    std::uint32_t sequence = 0;
};

class Announcer {
public:
    explicit Announcer(Faults& faults) : faults_(faults) {}

    double now = 0;
    Requester asker{};

    // RTM_NEWLINK or RTM_DELLINK.
    void link(Network& network, unsigned type, Link const& link, Requester const& requester = {});
    // Of a link that was not there before.
    void newLink(Network& network, Link const& link);
    void bridgePort(Network& network, unsigned type, Link const& port, std::uint32_t bridge);
    void addressIs(Network& network, Link const& link, Address& address,
                   Requester const& requester = {});
    void addressGone(Network& network, Link const& link, Address const& address,
                     Requester const& requester = {});

private:
    void address(Network& network, unsigned type, Link const& link, Address const& address,
                 Requester const& requester);
    void tell(Network& network, Bytes const& message) const;
    Bytes extra();

    Faults& faults_;
};

}  // namespace Netlink::Fake
