// What Linux does with the IPv6 addresses of a link, and what it tells of it in which order
// (net/ipv6/addrconf.c). Errors are errnos, 0 is success.
//
//                      link ready            nobody objects
//   add ──> tentative ───────────> detection ──────────────> told to be in use ──> deprecated ──>
//   gone
//                                      │ somebody has it
//                                      └──────────────────> failed
//
// Without detection (nodad, loopback, dummy, VRF device) the first steps are one.
#pragma once

#include "feeds/netlink/fake/Announcer.h"
#include "feeds/netlink/fake/Network.h"

namespace Netlink::Fake {

class Ip6 {
public:
    explicit Ip6(Announcer& announcer) : announcer_(announcer) {}

    // The widest scope stands first, and of one scope the newest.
    int add(Network& network, Link& link, Address address);
    // Adds it, or gives it other lifetimes where it is there.
    int replace(Network& network, Link& link, Address const& address);
    int remove(Network& network, Link& link, Address const& address);
    // Somebody else on the link has it: EADDRNOTAVAIL where nobody was asked.
    int detectDuplicate(Network& network, Link& link, Nimb::IpGenAddrWithMask const& own);

    // The link is up and has carrier, which it may have had before.
    void linkIsReady(Network& network, Link& link);
    // Whether it has carrier or not. Comes behind linkIsReady() where it has.
    void linkWentUp(Network& network, Link& link);
    // Permanent addresses stay with keep_addr_on_down.
    void linkWentDown(Network& network, Link& link);
    void linkGoes(Network& network, Link& link);

    // When lifetimes or detections have to be looked at again.
    double nextExpiry(Link const& link) const;
    void expire(Network& network, Link& link);

private:
    Address& insert(Link& link, Address address);
    void startDetection(Network& network, Link& link, Address& address);
    void endDetection(Network& network, Link& link, Address& address);
    void addLinkLocal(Network& network, Link& link);

    Announcer& announcer_;
};

}  // namespace Netlink::Fake
