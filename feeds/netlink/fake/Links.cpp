#include "feeds/netlink/fake/Links.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace Netlink::Fake {

namespace {

// Whose carrier comes and goes; the others are always there while they are up.
bool followsOthers(Link const& link) {
    return link.kind == LinkKind::veth || link.kind == LinkKind::bridge;
}

std::uint8_t initialOperState(LinkKind kind) {
    switch (kind) {
        case LinkKind::veth:
        case LinkKind::bridge:
            return IF_OPER_DOWN;
        case LinkKind::vrf:
            return IF_OPER_UP;
        default:
            return IF_OPER_UNKNOWN;
    }
}

}  // namespace

Network& Links::addNetwork(NamespaceId id) {
    Network& network = networks_.emplace(id, Network{.id = id}).first->second;
    list(network, {.place = {id, 1}, .name = "lo", .kind = LinkKind::loopback});
    return network;
}

void Links::removeNetwork(NamespaceId id) {
    Network& network = networks_.at(id);
    auto const asker = std::exchange(announcer_.asker, {});
    // From the last to the first, and each may take its peer along.
    while (network.links.rbegin()->second.kind != LinkKind::loopback) {
        remove(network.links.rbegin()->second.place);
    }
    networks_.erase(id);
    announcer_.asker = asker;
}

int Links::add(LinkKind kind, NewLink const& wanted) {
    return isIndexTaken(wanted) ? EEXIST : make(kind, wanted);
}

int Links::make(LinkKind kind, NewLink const& wanted) {
    if (int const error = check(wanted)) {
        return error;
    }
    Network& network = *this->network(wanted.network);
    announcer_.newLink(network, list(network, {.place = {wanted.network, wanted.ifIndex},
                                               .name = wanted.name,
                                               .kind = kind,
                                               .operState = initialOperState(kind)}));
    return 0;
}

int Links::addVeth(NewLink const& wanted, NewLink const& peer) {
    if (isIndexTaken(wanted)) {
        return EEXIST;
    }
    // The peer is made first, when it has no peer yet, and goes again where that one cannot be
    // made.
    if (int const error = make(LinkKind::veth, peer)) {
        return error;
    }
    Link& far = *network(peer.network)->find(peer.name);
    if (int const error = check(wanted)) {
        remove(far.place);
        return error;
    }
    Network& home = *network(wanted.network);
    Link& near = list(home, {.place = {wanted.network, wanted.ifIndex},
                             .name = wanted.name,
                             .kind = LinkKind::veth,
                             .peer = far.place,
                             .operState = initialOperState(LinkKind::veth)});
    far.peer = near.place;
    announcer_.newLink(home, near);
    return 0;
}

int Links::remove(Place place) {
    Link* const first = find(place);
    if (first == nullptr) {
        return ENODEV;
    }
    if (first->kind == LinkKind::loopback) {
        return EOPNOTSUPP;
    }
    releasePorts(*network(place.network), first->isMaster() ? place.ifIndex : 0);
    std::vector<Link*> going{first};
    if (Link* const peer = find(std::exchange(first->peer, {}))) {
        peer->peer = {};
        going.push_back(peer);
    }
    std::vector<Link*> closing = going;
    std::erase_if(closing, [](Link const* link) { return !link->up; });
    for (Link* const link : closing) {
        close(*link);
    }
    for (Link* const link : closing) {
        tellClosed(*network(link->place.network), *link, {});
    }
    for (Link const* const link : going) {
        Network& home = *network(link->place.network);
        auto node = unlist(home, link->place.ifIndex);
        strip(home, node.mapped(), true);
        announcer_.link(home, RTM_DELLINK, node.mapped(), announcer_.asker);
    }
    updateCarriers();
    return 0;
}

int Links::setUp(Place place, bool up) {
    Link* const link = find(place);
    if (link == nullptr) {
        return ENODEV;
    }
    if (link->up == up) {
        return 0;
    }
    Network& home = *network(place.network);
    if (up) {
        open(home, *link);
    } else {
        close(*link);
        updateCarriers();
        tellClosed(home, *link, announcer_.asker);
    }
    return 0;
}

int Links::rename(Place place, std::string const& name) {
    Link* const link = find(place);
    if (link == nullptr) {
        return ENODEV;
    }
    Network& home = *network(place.network);
    if (link->name == name) {
        return 0;
    }
    if (home.find(name) != nullptr) {
        return EEXIST;
    }
    link->name = name;
    announcer_.link(home, RTM_NEWLINK, *link);
    ip4_.linkWasRenamed(home, *link);
    return 0;
}

int Links::move(Place place, NamespaceId target, std::string const& name) {
    Link* link = find(place);
    Network* const there = network(target);
    if (link == nullptr || there == nullptr) {
        return ENODEV;
    }
    if (place.network == target) {
        return name.empty() ? 0 : rename(place, name);
    }
    if (link->kind == LinkKind::loopback || link->isMaster()) {
        return EINVAL;
    }
    bool const keepsName = there->find(link->name) == nullptr;
    if (!keepsName && (name.empty() || there->find(name) != nullptr)) {
        return EEXIST;
    }
    Network& home = *network(place.network);
    if (link->up) {
        close(*link);
        tellClosed(home, *link, {});
    }
    auto node = unlist(home, place.ifIndex);
    Link moved = node.mapped();
    strip(home, moved, false);
    announcer_.link(home, RTM_DELLINK, moved);
    moved.name = keepsName ? moved.name : name;
    moved.place = {target, there->find(place.ifIndex) == nullptr ? place.ifIndex : 0};
    Link& arrived = list(*there, std::move(moved));
    if (Link* const peer = find(arrived.peer)) {
        peer->peer = arrived.place;
    }
    announcer_.newLink(*there, arrived);
    updateCarriers();
    return name.empty() ? 0 : rename(arrived.place, name);
}

int Links::setMaster(Place place, std::uint32_t master) {
    Link* const link = find(place);
    Link const* const device = find({place.network, master});
    if (link == nullptr || (master != 0 && device == nullptr)) {
        return ENODEV;
    }
    if (device != nullptr && !device->isMaster()) {
        return EOPNOTSUPP;
    }
    if (link->master == master) {
        return 0;
    }
    if (link->kind == LinkKind::loopback) {
        return EINVAL;
    }
    if (link->isMaster()) {
        return ELOOP;
    }
    Network& home = *network(place.network);
    if (link->master != 0) {
        leave(home, *link);
    }
    if (master != 0) {
        join(home, *link, master);
    }
    updateCarriers();
    return 0;
}

int Links::addAddress(Place place, Address const& address) {
    auto const add = [&](auto& protocol, Network& home, Link& link) {
        return protocol.add(home, link, address);
    };
    return onAddress(place, address.own.family(), add, add);
}

int Links::replaceAddress(Place place, Address const& address) {
    auto const replace = [&](auto& protocol, Network& home, Link& link) {
        return protocol.replace(home, link, address);
    };
    return onAddress(place, address.own.family(), replace, replace);
}

int Links::removeAddress(Place place, Address const& address) {
    auto const removeFrom = [&](auto& protocol, Network& home, Link& link) {
        return protocol.remove(home, link, address);
    };
    return onAddress(place, address.own.family(), removeFrom, removeFrom);
}

int Links::detectDuplicate(Place place, Nimb::IpGenAddrWithMask const& own) {
    return onAddress(
        place, own.family(), [](Ip4&, Network&, Link&) { return EADDRNOTAVAIL; },
        [&](Ip6& ip6, Network& home, Link& link) { return ip6.detectDuplicate(home, link, own); });
}

double Links::nextEvent() const {
    double next = never;
    for (auto const& [id, network] : networks_) {
        for (auto const& [ifIndex, link] : network.links) {
            next = std::min({next, link.looksAt, ip4_.nextExpiry(link), ip6_.nextExpiry(link)});
        }
    }
    return next;
}

void Links::runDue() {
    for (auto& [id, network] : networks_) {
        for (auto& [ifIndex, link] : network.links) {
            if (link.looksAt <= announcer_.now) {
                look(network, link);
            }
            ip4_.expire(network, link);
            ip6_.expire(network, link);
        }
    }
}

Network* Links::network(NamespaceId id) {
    auto const found = networks_.find(id);
    return found == networks_.end() ? nullptr : &found->second;
}

Link* Links::find(Place place) {
    Network* const home = network(place.network);
    return home == nullptr ? nullptr : home->find(place.ifIndex);
}

int Links::onAddress(Place place, Nimb::AddressFamily family,
                     std::function<int(Ip4&, Network&, Link&)> const& ip4,
                     std::function<int(Ip6&, Network&, Link&)> const& ip6) {
    Link* const link = find(place);
    if (link == nullptr) {
        return ENODEV;
    }
    Network& home = *network(place.network);
    return family == Nimb::AddressFamily::ipv4 ? ip4(ip4_, home, *link) : ip6(ip6_, home, *link);
}

int Links::check(NewLink const& wanted) {
    Network* const home = network(wanted.network);
    if (home == nullptr || wanted.name.empty() || wanted.name.size() >= IFNAMSIZ) {
        return EINVAL;
    }
    if (home->find(wanted.name) != nullptr) {
        return EEXIST;
    }
    return isIndexTaken(wanted) ? EBUSY : 0;
}

// Of a request Linux says EEXIST then, and EBUSY of the peer that it brings along.
bool Links::isIndexTaken(NewLink const& wanted) {
    return find({wanted.network, wanted.ifIndex}) != nullptr;
}

Link& Links::list(Network& network, Link link) {
    if (link.place.ifIndex == 0) {
        link.place.ifIndex = network.freeIfIndex();
    }
    if (link.hardware == 0) {
        link.hardware = nextHardware_++;
    }
    ++network.linksListed;
    return network.links.emplace(link.place.ifIndex, std::move(link)).first->second;
}

std::map<std::uint32_t, Link>::node_type Links::unlist(Network& network, std::uint32_t ifIndex) {
    ++network.linksListed;
    return network.links.extract(ifIndex);
}

void Links::open(Network& network, Link& link) {
    link.up = true;
    updateCarriers();
    if (!link.carrier) {
        link.operState = operStateOf(link);
    }
    announcer_.link(network, RTM_NEWLINK, link, announcer_.asker);
    ip4_.linkWentUp(network, link);
    if (link.running()) {
        ip6_.linkIsReady(network, link);
    }
    ip6_.linkWentUp(network, link);
    tellBridge(network, link);
}

void Links::close(Link& link) {
    link.up = false;
    link.operState = initialOperState(link.kind);
}

void Links::tellClosed(Network& network, Link& link, Requester const& requester) {
    announcer_.link(network, RTM_NEWLINK, link, requester);
    ip6_.linkWentDown(network, link);
    tellBridge(network, link);
}

void Links::tellBridge(Network& network, Link const& port) {
    if (Link const* const master = network.find(port.master);
        master != nullptr && master->kind == LinkKind::bridge) {
        announcer_.bridgePort(network, RTM_NEWLINK, port, port.master);
    }
}

void Links::cycle(Network& network, Link& link) {
    if (link.up) {
        close(link);
        updateCarriers();
        tellClosed(network, link, {});
        open(network, link);
    }
}

void Links::strip(Network& network, Link& link, bool isGone) {
    ip4_.linkGoes(network, link);
    ip6_.linkGoes(network, link);
    if (link.master != 0) {
        leave(network, link, isGone);
    }
}

void Links::join(Network& network, Link& link, std::uint32_t master) {
    link.master = master;
    announcer_.link(network, RTM_NEWLINK, link);
    if (network.find(master)->kind == LinkKind::vrf) {
        ip6_.linkWentDown(network, link);
        cycle(network, link);
    } else {
        announcer_.bridgePort(network, RTM_NEWLINK, link, master);
    }
}

void Links::leave(Network& network, Link& link, bool isGone) {
    bool const vrf = network.find(link.master)->kind == LinkKind::vrf;
    if (!vrf) {
        announcer_.bridgePort(network, RTM_DELLINK, link, link.master);
    }
    link.master = 0;
    if (!isGone) {
        announcer_.link(network, RTM_NEWLINK, link);
    }
    if (vrf) {
        ip6_.linkWentDown(network, link);
        cycle(network, link);
    }
}

void Links::releasePorts(Network& network, std::uint32_t master) {
    for (auto& [ifIndex, link] : network.links) {
        if (master != 0 && link.master == master) {
            leave(network, link);
        }
    }
}

bool Links::hasCarrier(Network const& network, Link const& link) const {
    if (!link.up || !followsOthers(link)) {
        return link.up;
    }
    if (link.kind == LinkKind::bridge) {
        return std::ranges::any_of(network.links, [&link](auto const& other) {
            return other.second.master == link.place.ifIndex && other.second.carrier;
        });
    }
    auto const home = networks_.find(link.peer.network);
    if (home == networks_.end()) {
        return false;
    }
    auto const peer = home->second.links.find(link.peer.ifIndex);
    return peer != home->second.links.end() && peer->second.up;
}

std::uint8_t Links::operStateOf(Link const& link) {
    if (!followsOthers(link)) {
        return initialOperState(link.kind);
    }
    if (link.carrier) {
        return IF_OPER_UP;
    }
    Link const* const peer = link.peer.network == link.place.network ? find(link.peer) : nullptr;
    return peer != nullptr && !peer->carrier ? IF_OPER_LOWERLAYERDOWN : IF_OPER_DOWN;
}

// Bridges come last, since they follow their ports.
void Links::updateCarriers() {
    for (bool const bridges : {false, true}) {
        for (auto& [id, network] : networks_) {
            for (auto& [ifIndex, link] : network.links) {
                if ((link.kind == LinkKind::bridge) != bridges ||
                    link.carrier == hasCarrier(network, link)) {
                    continue;
                }
                link.carrier = !link.carrier;
                if (followsOthers(link)) {
                    link.looksAt = std::min(link.looksAt, announcer_.now + linkWatchDelay);
                }
            }
        }
    }
}

void Links::look(Network& network, Link& link) {
    link.looksAt = never;
    std::uint8_t const operState = operStateOf(link);
    if (!link.up || operState == link.operState) {
        return;
    }
    link.operState = operState;
    announcer_.link(network, RTM_NEWLINK, link);
    if (link.running()) {
        ip6_.linkIsReady(network, link);
    }
    tellBridge(network, link);
}

}  // namespace Netlink::Fake
