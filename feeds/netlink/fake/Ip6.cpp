#include "feeds/netlink/fake/Ip6.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "feeds/netlink/fake/Lifetimes.h"

namespace Netlink::Fake {

namespace {

constexpr std::uint32_t requestable = IFA_F_NODAD | IFA_F_OPTIMISTIC | IFA_F_HOMEADDRESS |
                                      IFA_F_MANAGETEMPADDR | IFA_F_NOPREFIXROUTE | IFA_F_TEMPORARY;
// What a request to replace an address decides anew.
constexpr std::uint32_t replaceable = IFA_F_NODAD | IFA_F_HOMEADDRESS | IFA_F_MANAGETEMPADDR |
                                      IFA_F_NOPREFIXROUTE | IFA_F_DEPRECATED | IFA_F_PERMANENT;

Nimb::Ip6Addr const loopbackAddress("::1");

bool isSiteLocal(Nimb::Ip6Addr const& address) {
    return address.bytes()[0] == 0xfe && (address.bytes()[1] & 0xc0) == 0xc0;
}

std::uint8_t scopeOf(Nimb::Ip6Addr const& address) {
    if (address == loopbackAddress) {
        return RT_SCOPE_HOST;
    }
    if (address.isLinkLocal()) {
        return RT_SCOPE_LINK;
    }
    return isSiteLocal(address) ? RT_SCOPE_SITE : RT_SCOPE_UNIVERSE;
}

// RFC 4007, where the wider scope has the larger number.
int sortedBy(Address const& address) {
    switch (address.scope) {
        case RT_SCOPE_HOST:
        case RT_SCOPE_LINK:
            return 2;
        case RT_SCOPE_SITE:
            return 5;
        default:
            return 14;
    }
}

bool asksForDuplicates(Link const& link) {
    return link.kind == LinkKind::veth || link.kind == LinkKind::bridge;
}

bool outlivesDown(Network const& network, Address const& address) {
    return network.settings.keepAddrOnDown && address.has(IFA_F_PERMANENT) &&
           address.scope != RT_SCOPE_LINK && address.scope != RT_SCOPE_HOST;
}

// From the hardware address 02:00:xx:xx:xx:xx (RFC 4291, appendix A).
Nimb::Ip6Addr linkLocalAddress(Link const& link) {
    auto const byte = [&link](unsigned shift) {
        return static_cast<std::uint8_t>(link.hardware >> shift & 0xff);
    };
    return Nimb::Ip6Addr(Nimb::Ip6Bytes{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, byte(24), 0xff, 0xfe,
                                        byte(16), byte(8), byte(0)});
}

auto findAddress(Link& link, Nimb::IpGenAddr const& address) {
    return std::ranges::find_if(
        link.ip6, [&address](auto const& one) { return one.own.address() == address; });
}

}  // namespace

int Ip6::add(Network& network, Link& link, Address address) {
    if (int const error = checkLifetimes(address)) {
        return error;
    }
    if (findAddress(link, address.own.address()) != link.ip6.end()) {
        return EEXIST;
    }
    address.flags &= requestable;
    bool const isTold = !address.has(IFA_F_NODAD) && !address.has(IFA_F_OPTIMISTIC);
    Address& added = insert(link, std::move(address));
    if (isTold) {
        announcer_.addressIs(network, link, added);
    } else {
        ++network.ip6Changes;
    }
    startDetection(network, link, added);
    return 0;
}

int Ip6::replace(Network& network, Link& link, Address const& address) {
    auto const there = findAddress(link, address.own.address());
    if (there == link.ip6.end()) {
        return add(network, link, address);
    }
    if (int const error = checkLifetimes(address)) {
        return error;
    }
    there->preferred = address.preferred;
    there->valid = address.valid;
    there->flags = (there->flags & ~replaceable) | (address.flags & replaceable);
    startLifetimes(*there, announcer_.now);
    announcer_.addressIs(network, link, *there);
    return 0;
}

int Ip6::remove(Network& network, Link& link, Address const& address) {
    auto const there = std::ranges::find(link.ip6, address.own, &Address::own);
    if (there == link.ip6.end()) {
        return EADDRNOTAVAIL;
    }
    Address const removed = *there;
    link.ip6.erase(there);
    announcer_.addressGone(network, link, removed);
    return 0;
}

int Ip6::detectDuplicate(Network& network, Link& link, Nimb::IpGenAddrWithMask const& own) {
    auto const there = std::ranges::find(link.ip6, own, &Address::own);
    if (there == link.ip6.end() || there->dadEnds == never) {
        return EADDRNOTAVAIL;
    }
    there->dadEnds = never;
    if (!there->has(IFA_F_PERMANENT)) {
        return remove(network, link, *there);
    }
    there->flags |= IFA_F_TENTATIVE | IFA_F_DADFAILED;
    there->clear(IFA_F_OPTIMISTIC);
    announcer_.addressIs(network, link, *there);
    return 0;
}

void Ip6::linkIsReady(Network& network, Link& link) {
    if (std::exchange(link.ip6Ready, true)) {
        return;
    }
    if (link.kind == LinkKind::loopback) {
        if (findAddress(link, loopbackAddress) == link.ip6.end()) {
            Address& added = insert(
                link, {.own = Nimb::IpGenAddrWithMask(loopbackAddress, 128), .flags = IFA_F_NODAD});
            added.clear(IFA_F_NODAD);
            announcer_.addressIs(network, link, added);
        }
    } else if (link.kind != LinkKind::vrf && network.settings.linkLocal) {
        addLinkLocal(network, link);
    }
    for (auto& address : link.ip6) {
        if (address.has(IFA_F_TENTATIVE) && !address.outlivedDown) {
            startDetection(network, link, address);
        }
    }
}

void Ip6::linkWentUp(Network& network, Link& link) {
    for (auto& address : link.ip6) {
        if (std::exchange(address.outlivedDown, false)) {
            startDetection(network, link, address);
        }
    }
}

void Ip6::linkWentDown(Network& network, Link& link) {
    link.ip6Ready = false;
    for (std::size_t i = 0; i < link.ip6.size();) {
        Address& address = link.ip6[i];
        address.dadEnds = never;
        if (outlivesDown(network, address)) {
            address.outlivedDown = true;
            address.flags |= address.has(IFA_F_NODAD) ? 0 : IFA_F_TENTATIVE;
            ++i;
            continue;
        }
        Address const removed = address;
        link.ip6.erase(link.ip6.begin() + static_cast<std::ptrdiff_t>(i));
        announcer_.addressGone(network, link, removed);
    }
}

void Ip6::linkGoes(Network& network, Link& link) {
    link.ip6Ready = false;
    while (!link.ip6.empty()) {
        Address const first = link.ip6.front();
        link.ip6.erase(link.ip6.begin());
        announcer_.addressGone(network, link, first);
    }
}

double Ip6::nextExpiry(Link const& link) const {
    double next = never;
    for (auto const& address : link.ip6) {
        next = std::min({next, address.dadEnds, Fake::nextExpiry(address)});
    }
    return next;
}

void Ip6::expire(Network& network, Link& link) {
    double const now = announcer_.now;
    for (std::size_t i = 0; i < link.ip6.size();) {
        Address& address = link.ip6[i];
        if (endOfValid(address) <= now) {
            Address const removed = address;
            link.ip6.erase(link.ip6.begin() + static_cast<std::ptrdiff_t>(i));
            announcer_.addressGone(network, link, removed);
            continue;
        }
        if (address.dadEnds <= now) {
            endDetection(network, link, address);
        }
        if (endOfPreferred(address) <= now) {
            address.flags |= IFA_F_DEPRECATED;
            announcer_.addressIs(network, link, address);
        }
        ++i;
    }
}

// Before the first whose scope is as wide or narrower.
Address& Ip6::insert(Link& link, Address address) {
    address.scope = scopeOf(address.own.address().ip6());
    startLifetimes(address, announcer_.now);
    address.flags |= address.has(IFA_F_NODAD) ? 0 : IFA_F_TENTATIVE;
    auto const at = std::ranges::find_if(
        link.ip6, [&](auto const& one) { return sortedBy(address) >= sortedBy(one); });
    return *link.ip6.insert(at, std::move(address));
}

void Ip6::startDetection(Network& network, Link& link, Address& address) {
    if (address.has(IFA_F_NODAD) || !asksForDuplicates(link)) {
        endDetection(network, link, address);
        return;
    }
    if (!link.ip6Ready) {
        return;  // Detected once it is.
    }
    address.dadEnds = announcer_.now + network.settings.dadTime;
    if (address.has(IFA_F_OPTIMISTIC)) {
        announcer_.addressIs(network, link, address);
    }
}

void Ip6::endDetection(Network& network, Link& link, Address& address) {
    address.dadEnds = never;
    address.clear(IFA_F_TENTATIVE | IFA_F_OPTIMISTIC | IFA_F_DADFAILED);
    announcer_.addressIs(network, link, address);
}

// Not told before it is known that nobody else has it.
void Ip6::addLinkLocal(Network& network, Link& link) {
    Nimb::Ip6Addr const address = linkLocalAddress(link);
    if (findAddress(link, address) == link.ip6.end()) {
        insert(link, {.own = Nimb::IpGenAddrWithMask(address, 64)});
        ++network.ip6Changes;
    }
}

}  // namespace Netlink::Fake
