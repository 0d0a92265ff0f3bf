// The links of all namespaces: what is done to one, what follows from it for others (a veth's peer,
// a bridge's ports), and what the kernel tells of it where. Errors are errnos, 0 is success.
//
//   timer  linkWatchDelay after its carrier has changed the kernel looks at a link, sets its
//          operational state and tells it
//   timer  lifetimes and duplicate detections of addresses, see Ip4 and Ip6
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "feeds/netlink/fake/Announcer.h"
#include "feeds/netlink/fake/Ip4.h"
#include "feeds/netlink/fake/Ip6.h"
#include "feeds/netlink/fake/Network.h"

namespace Netlink::Fake {

struct NewLink {
    NamespaceId network;
    std::string name;
    std::uint32_t ifIndex = 0;  // 0: the lowest that is free
};

class Links {
public:
    static constexpr double linkWatchDelay = 0.01;

    explicit Links(Announcer& announcer)
        : announcer_(announcer), ip4_(announcer), ip6_(announcer) {}

    // With a loopback that is down.
    Network& addNetwork(NamespaceId id);
    // Its links go, and what is at their other ends.
    void removeNetwork(NamespaceId id);
    std::map<NamespaceId, Network>& networks() { return networks_; }
    std::map<NamespaceId, Network> const& networks() const { return networks_; }

    int add(LinkKind kind, NewLink const& wanted);
    int addVeth(NewLink const& wanted, NewLink const& peer);
    int remove(Place place);
    int setUp(Place place, bool up);
    int rename(Place place, std::string const& name);
    // Keeps its index where that is free there. It is down then, and has no address. Another name
    // it gets once it is there, unless its own is taken there.
    int move(Place place, NamespaceId target, std::string const& name = {});
    // A bridge or a VRF device of the same namespace; 0: none.
    int setMaster(Place place, std::uint32_t master);

    int addAddress(Place place, Address const& address);
    int replaceAddress(Place place, Address const& address);
    int removeAddress(Place place, Address const& address);
    int detectDuplicate(Place place, Nimb::IpGenAddrWithMask const& own);

    double nextEvent() const;
    // What is due at the announcer's time.
    void runDue();

private:
    Network* network(NamespaceId id);
    Link* find(Place place);
    int onAddress(Place place, Nimb::AddressFamily family,
                  std::function<int(Ip4&, Network&, Link&)> const& ip4,
                  std::function<int(Ip6&, Network&, Link&)> const& ip6);

    int make(LinkKind kind, NewLink const& wanted);
    int check(NewLink const& wanted);
    bool isIndexTaken(NewLink const& wanted);
    Link& list(Network& network, Link link);
    std::map<std::uint32_t, Link>::node_type unlist(Network& network, std::uint32_t ifIndex);
    void open(Network& network, Link& link);
    void close(Link& link);
    void tellClosed(Network& network, Link& link, Requester const& requester);
    void tellBridge(Network& network, Link const& port);
    void cycle(Network& network, Link& link);
    // Its addresses go, and it leaves its master.
    void strip(Network& network, Link& link, bool isGone);

    void join(Network& network, Link& link, std::uint32_t master);
    // Of what is gone from this machine nothing more is told but that.
    void leave(Network& network, Link& link, bool isGone = false);
    void releasePorts(Network& network, std::uint32_t master);

    bool hasCarrier(Network const& network, Link const& link) const;
    std::uint8_t operStateOf(Link const& link);
    void updateCarriers();
    void look(Network& network, Link& link);

    Announcer& announcer_;
    Ip4 ip4_;
    Ip6 ip6_;
    std::map<NamespaceId, Network> networks_;
    std::uint32_t nextHardware_ = 1;
};

}  // namespace Netlink::Fake
