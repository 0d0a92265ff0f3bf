#include "feeds/netlink/fake/Announcer.h"

#include "feeds/netlink/fake/NotificationSocket.h"

namespace Netlink::Fake {

namespace {

Envelope from(Requester const& requester) {
    return {.flags = 0, .sequence = requester.sequence, .port = requester.port};
}

}  // namespace

void Announcer::link(Network& network, unsigned type, Link const& link,
                     Requester const& requester) {
    tell(network, linkMessage(type, link, from(requester), extra()));
}

void Announcer::newLink(Network& network, Link const& link) {
    Bytes const message = linkMessage(RTM_NEWLINK, link, from(asker), extra());
    for (auto* const listener : network.listeners) {
        if (faults_.strikes(Fault::addressBeforeLink)) {
            listener->notifyLate(message, now);
        } else {
            listener->notify(message, now);
        }
    }
}

void Announcer::bridgePort(Network& network, unsigned type, Link const& port,
                           std::uint32_t bridge) {
    tell(network, bridgePortMessage(type, port, bridge, from({})));
}

void Announcer::addressIs(Network& network, Link const& link, Address& address,
                          Requester const& requester) {
    address.told = address.flags;
    this->address(network, RTM_NEWADDR, link, address, requester);
}

void Announcer::addressGone(Network& network, Link const& link, Address const& address,
                            Requester const& requester) {
    this->address(network, RTM_DELADDR, link, address, requester);
}

void Announcer::address(Network& network, unsigned type, Link const& link, Address const& address,
                        Requester const& requester) {
    ++(address.family() == AF_INET ? network.ip4Changes : network.ip6Changes);
    tell(network, addressMessage(type, link.place.ifIndex, address, now, from(requester), extra()));
}

void Announcer::tell(Network& network, Bytes const& message) const {
    for (auto* const listener : network.listeners) {
        listener->notify(message, now);
    }
}

Bytes Announcer::extra() {
    return faults_.strikes(Fault::unknownAttribute) ? unknownAttribute() : Bytes();
}

}  // namespace Netlink::Fake
