#include "feeds/netlink/Mirror.h"

#include <algorithm>

namespace Netlink {

namespace {

// More masters than any kernel lets links have on top of each other.
constexpr int maxMasters = 64;

bool isIp4(Address const& address) { return address.family() == Nimb::AddressFamily::ipv4; }

bool lends(MirroredLink const& one) { return one.link && one.link->kind != Link::Kind::other; }

// Whether other links, or what belongs to them, may look different.
bool concernsOthers(Link const& before, Link const& now) {
    return before.name != now.name || before.master != now.master || before.kind != now.kind;
}

}  // namespace

MirroredLink const* Mirror::find(std::uint32_t ifIndex) const {
    auto const one = links_.find(ifIndex);
    return one == links_.end() ? nullptr : &one->second;
}

bool Mirror::shows(Change const& change) const {
    if (auto const* const is = std::get_if<LinkIs>(&change)) {
        auto const* const one = find(is->link.ifIndex);
        return one && one->link == is->link;
    }
    if (auto const* const is = std::get_if<AddressIs>(&change)) {
        auto const* const one = find(is->address.ifIndex);
        if (!one) {
            return false;
        }
        if (isIp4(is->address)) {
            auto const& list = one->ip4.list();
            return std::find(list.begin(), list.end(), is->address) != list.end();
        }
        auto const found = one->ip6.find(is->address.local);
        return found != one->ip6.end() && found->second == is->address;
    }
    return false;
}

std::optional<Link const*> Mirror::vrfDevice(std::uint32_t ifIndex) const {
    for (int step = 0; step < maxMasters; ++step) {
        auto const* const one = find(ifIndex);
        if (!one || !one->link) {
            return nullptr;
        }
        if (one->link->kind == Link::Kind::vrf) {
            return &*one->link;
        }
        ifIndex = one->link->master;
    }
    return std::nullopt;
}

std::vector<Link const*> Mirror::lenders(Nimb::IpGenAddr const& addr) const {
    std::vector<Link const*> found;
    if (auto const hosts = hosts_.find(addr); hosts != hosts_.end()) {
        for (std::uint32_t const ifIndex : hosts->second) {
            if (auto const& one = links_.at(ifIndex); lends(one)) {
                found.push_back(&*one.link);
            }
        }
    }
    return found;
}

void Mirror::apply(Change const& change) {
    std::visit([this](auto const& one) { handle(one); }, change);
}

void Mirror::handle(AddressGone const& change) {
    Address const& address = change.address;
    auto const one = links_.find(address.ifIndex);
    if (one == links_.end()) {
        return;
    }
    if (isIp4(address)) {
        if (!one->second.ip4.remove(address)) {
            return;
        }
        forgetHost(address);
    } else if (one->second.ip6.erase(address.local) == 0) {
        return;
    }
    touched_.insert(address.ifIndex);
    touchBorrowers(one->second, address);
    eraseIfEmpty(one);
}

void Mirror::set(Link const& link) {
    MirroredLink& one = links_[link.ifIndex];
    if (one.link == link) {
        return;
    }
    bool const concerns = !one.link || concernsOthers(*one.link, link);
    if (concerns) {
        touch(link.ifIndex);  // those who borrow from what it was
    }
    if (one.link) {
        forget(*one.link);
    }
    nameIs(link);
    portsOf_[link.master].insert(link.ifIndex);
    if (link.kind == Link::Kind::vrf) {
        vrfDevices_.insert(link.ifIndex);
    }
    one.link = link;
    if (concerns) {
        touch(link.ifIndex);
    } else {
        touched_.insert(link.ifIndex);
    }
}

void Mirror::nameIs(Link const& link) {
    if (link.name.empty()) {
        return;
    }
    auto const [named, isNew] = byName_.try_emplace(link.name, link.ifIndex);
    if (isNew) {
        return;
    }
    std::uint32_t const nameless = std::exchange(named->second, link.ifIndex);
    links_.at(nameless).link->name = Nimb::IntfId();
    touch(nameless);
}

void Mirror::forget(Link const& link) {
    if (!link.name.empty()) {
        byName_.erase(link.name);
    }
    vrfDevices_.erase(link.ifIndex);
    auto const ports = portsOf_.find(link.master);
    ports->second.erase(link.ifIndex);
    if (ports->second.empty()) {
        portsOf_.erase(ports);
    }
}

void Mirror::remove(std::uint32_t ifIndex) {
    auto const one = links_.find(ifIndex);
    if (one == links_.end()) {
        return;
    }
    touch(ifIndex);
    replaceAddresses(ifIndex, {}, {});
    if (one->second.link) {
        forget(*one->second.link);
    }
    links_.erase(one);
}

void Mirror::set(Address const& address) {
    MirroredLink& one = links_[address.ifIndex];
    if (isIp4(address)) {
        auto const before = one.ip4.list().size();
        if (!one.ip4.set(address)) {
            return;
        }
        if (one.ip4.list().size() > before) {
            noteHost(address);
        }
    } else {
        auto const [there, isNew] = one.ip6.try_emplace(address.local, address);
        if (!isNew && std::exchange(there->second, address) == address) {
            return;
        }
    }
    touched_.insert(address.ifIndex);
    touchBorrowers(one, address);
}

void Mirror::replaceAddresses(std::uint32_t ifIndex, std::vector<Address> const& ip4,
                              std::map<Nimb::IpGenAddr, Address> ip6) {
    MirroredLink& one = links_[ifIndex];
    auto const before = one.ip4.list();
    if (one.ip4.replace(ip4)) {
        touched_.insert(ifIndex);
        for (Address const& address : before) {
            forgetHost(address);
            touchBorrowers(one, address);
        }
        for (Address const& address : ip4) {
            noteHost(address);
            touchBorrowers(one, address);
        }
    }
    if (std::exchange(one.ip6, std::move(ip6)) != one.ip6) {
        touched_.insert(ifIndex);
    }
}

void Mirror::eraseIfEmpty(Links::iterator one) {
    if (!one->second.link && one->second.ip4.list().empty() && one->second.ip6.empty()) {
        links_.erase(one);
    }
}

void Mirror::replace(Dumped const& dumped) {
    std::set<std::uint32_t> there;
    for (Link const& link : dumped.links) {
        there.insert(link.ifIndex);
    }
    std::map<std::uint32_t, std::pair<std::vector<Address>, std::map<Nimb::IpGenAddr, Address>>>
        addresses;
    for (Address const& address : dumped.addresses) {
        auto& [ip4, ip6] = addresses[address.ifIndex];
        if (isIp4(address)) {
            ip4.push_back(address);
        } else {
            ip6.insert_or_assign(address.local, address);
        }
    }
    for (auto one = links_.begin(); one != links_.end();) {
        auto const ifIndex = one++->first;
        if (!there.contains(ifIndex)) {
            remove(ifIndex);
        }
    }
    for (Link const& link : dumped.links) {
        set(link);
    }
    for (std::uint32_t const ifIndex : there) {
        addresses.try_emplace(ifIndex);
    }
    for (auto& [ifIndex, ofLink] : addresses) {
        replaceAddresses(ifIndex, ofLink.first, std::move(ofLink.second));
    }
}

void Mirror::add(Dumped const& dumped) {
    for (Link const& link : dumped.links) {
        set(link);
    }
    for (Address const& address : dumped.addresses) {
        set(address);
    }
}

void Mirror::startOver() {
    for (auto& [ifIndex, one] : links_) {
        one = MirroredLink();
    }
    byName_.clear();
    portsOf_.clear();
    vrfDevices_.clear();
    hosts_.clear();
}

void Mirror::touch(std::uint32_t ifIndex) {
    std::set<std::uint32_t> seen;
    std::vector<std::uint32_t> next{ifIndex};
    while (!next.empty()) {
        std::uint32_t const index = next.back();
        next.pop_back();
        if (!seen.insert(index).second) {
            continue;
        }
        touched_.insert(index);
        if (auto const* const one = find(index)) {
            for (Address const& address : one->ip4.list()) {
                touchBorrowers(*one, address);
            }
        }
        if (auto const ports = portsOf_.find(index); ports != portsOf_.end()) {
            next.insert(next.end(), ports->second.begin(), ports->second.end());
        }
    }
}

void Mirror::noteHost(Address const& address) {
    if (address.isHost()) {
        hosts_[address.local].insert(address.ifIndex);
    }
}

void Mirror::forgetHost(Address const& address) {
    if (!address.isHost()) {
        return;
    }
    auto const hosts = hosts_.find(address.local);
    hosts->second.erase(hosts->second.find(address.ifIndex));
    if (hosts->second.empty()) {
        hosts_.erase(hosts);
    }
}

void Mirror::touchBorrowers(MirroredLink const& lender, Address const& address) {
    if (!lends(lender) || !isIp4(address) || !address.isHost()) {
        return;
    }
    if (auto const hosts = hosts_.find(address.local); hosts != hosts_.end()) {
        touched_.insert(hosts->second.begin(), hosts->second.end());
    }
}

}  // namespace Netlink
