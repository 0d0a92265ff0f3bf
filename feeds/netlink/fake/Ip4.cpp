#include "feeds/netlink/fake/Ip4.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "feeds/netlink/fake/Lifetimes.h"

namespace Netlink::Fake {

namespace {

constexpr std::size_t longestLabel = IFNAMSIZ - 1;

bool isSecondary(Address const& address) { return address.has(IFA_F_SECONDARY); }

// As seen from the one that is there, whose far end names the subnet.
bool isOfSubnet(Address const& there, Address const& other) {
    auto const length = there.own.prefixLength();
    return length == other.own.prefixLength() &&
           there.farEnd().masked(length) == other.farEnd().masked(length);
}

bool isSame(Address const& there, Address const& other) {
    return isOfSubnet(there, other) && there.own.address() == other.own.address();
}

// Behind the last primary address whose scope is as narrow at least, else first.
std::ptrdiff_t primaryPosition(std::vector<Address> const& addresses, std::uint8_t scope) {
    std::ptrdiff_t position = 0;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        if (!isSecondary(addresses[i]) && scope <= addresses[i].scope) {
            position = static_cast<std::ptrdiff_t>(i) + 1;
        }
    }
    return position;
}

std::string relabelled(std::string const& oldLabel, std::string const& linkName, int number) {
    if (number == 1) {
        return linkName;
    }
    auto const colon = oldLabel.find(':');
    std::string const suffix =
        colon == std::string::npos ? ':' + std::to_string(number) : oldLabel.substr(colon);
    return linkName.substr(0, longestLabel - std::min(longestLabel, suffix.size())) + suffix;
}

}  // namespace

int Ip4::add(Network& network, Link& link, Address const& address) {
    return insert(network, link, address, announcer_.asker);
}

int Ip4::replace(Network& network, Link& link, Address const& address) {
    auto const there =
        std::ranges::find_if(link.ip4, [&](auto const& one) { return isSame(one, address); });
    if (there == link.ip4.end()) {
        return add(network, link, address);
    }
    if (int const error = checkLifetimes(address)) {
        return error;
    }
    there->preferred = address.preferred;
    there->valid = address.valid;
    startLifetimes(*there, announcer_.now);
    announcer_.addressIs(network, link, *there, announcer_.asker);
    return 0;
}

int Ip4::remove(Network& network, Link& link, Address const& address) {
    auto const there =
        std::ranges::find_if(link.ip4, [&](auto const& one) { return isSame(one, address); });
    if (there == link.ip4.end()) {
        return EADDRNOTAVAIL;
    }
    removeAt(network, link, static_cast<std::size_t>(there - link.ip4.begin()), announcer_.asker);
    return 0;
}

void Ip4::linkWentUp(Network& network, Link& link) {
    if (link.kind == LinkKind::loopback) {
        insert(network, link,
               {.own = Nimb::IpGenAddrWithMask("127.0.0.1/8"), .scope = RT_SCOPE_HOST}, {});
    }
}

void Ip4::linkWasRenamed(Network& network, Link& link) {
    int number = 0;
    for (auto& address : link.ip4) {
        address.label = relabelled(address.label, link.name, ++number);
        announcer_.addressIs(network, link, address);
    }
}

void Ip4::linkGoes(Network& network, Link& link) {
    // Nothing is promoted any more, nor does one take another with it.
    while (!link.ip4.empty()) {
        Address const first = link.ip4.front();
        link.ip4.erase(link.ip4.begin());
        announcer_.addressGone(network, link, first);
    }
}

double Ip4::nextExpiry(Link const& link) const {
    double next = never;
    for (auto const& address : link.ip4) {
        next = std::min(next, Fake::nextExpiry(address));
    }
    return next;
}

void Ip4::expire(Network& network, Link& link) {
    for (auto& address : link.ip4) {
        if (endOfPreferred(address) <= announcer_.now && endOfValid(address) > announcer_.now) {
            address.flags |= IFA_F_DEPRECATED;
            announcer_.addressIs(network, link, address);
        }
    }
    // Each takes others along, or is replaced.
    auto const over = [this](auto const& one) { return endOfValid(one) <= announcer_.now; };
    for (auto at = std::ranges::find_if(link.ip4, over); at != link.ip4.end();
         at = std::ranges::find_if(link.ip4, over)) {
        removeAt(network, link, static_cast<std::size_t>(at - link.ip4.begin()), {});
    }
}

int Ip4::insert(Network& network, Link& link, Address address, Requester const& requester) {
    if (int const error = checkLifetimes(address)) {
        return error;
    }
    // What only IPv6 knows, and what is ours to say.
    address.clear(IFA_F_SECONDARY | IFA_F_NODAD | IFA_F_OPTIMISTIC | IFA_F_DADFAILED |
                  IFA_F_HOMEADDRESS | IFA_F_TENTATIVE | IFA_F_MANAGETEMPADDR |
                  IFA_F_STABLE_PRIVACY);
    if (std::ranges::any_of(link.ip4, [&](auto const& there) { return isSame(there, address); })) {
        return EEXIST;
    }
    for (auto const& there : link.ip4) {
        if (isOfSubnet(there, address)) {
            if (there.scope != address.scope) {
                return EINVAL;
            }
            address.flags |= IFA_F_SECONDARY;
        }
    }
    startLifetimes(address, announcer_.now);
    if (address.label.empty()) {
        address.label = link.name;
    }
    auto const at = isSecondary(address)
                        ? link.ip4.end()
                        : link.ip4.begin() + primaryPosition(link.ip4, address.scope);
    announcer_.addressIs(network, link, *link.ip4.insert(at, std::move(address)), requester);
    return 0;
}

void Ip4::removeAt(Network& network, Link& link, std::size_t position, Requester const& requester) {
    auto& all = link.ip4;
    Address const removed = all[position];
    std::size_t heir = isSecondary(removed) ? all.size() : position + 1;
    while (heir < all.size()) {
        if (!isSecondary(all[heir]) || !isOfSubnet(removed, all[heir])) {
            ++heir;
        } else if (network.settings.promoteSecondaries) {
            break;
        } else {
            Address const secondary = all[heir];
            all.erase(all.begin() + static_cast<std::ptrdiff_t>(heir));
            announcer_.addressGone(network, link, secondary, requester);
        }
    }
    bool const isInherited = heir < all.size();
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(position));
    announcer_.addressGone(network, link, removed, requester);
    if (isInherited) {
        promote(network, link, heir - 1, removed.scope, requester);
    }
}

void Ip4::promote(Network& network, Link& link, std::size_t position, std::uint8_t scope,
                  Requester const& requester) {
    Address promoted = link.ip4[position];
    link.ip4.erase(link.ip4.begin() + static_cast<std::ptrdiff_t>(position));
    promoted.clear(IFA_F_SECONDARY);
    auto const at = link.ip4.insert(link.ip4.begin() + primaryPosition(link.ip4, scope), promoted);
    announcer_.addressIs(network, link, *at, requester);
}

}  // namespace Netlink::Fake
