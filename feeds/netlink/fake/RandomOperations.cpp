#include "feeds/netlink/fake/RandomOperations.h"

#include <algorithm>
#include <utility>

#include "Zin/Format.h"

namespace Netlink::Fake {

namespace {

using Kind = Operation::Kind;

constexpr std::uint32_t linkNames = 5;
constexpr std::uint32_t namespaceNames = 4;

std::string namespaceName(std::uint32_t number) {
    // The last has no prefix, as one that is no VRF.
    return number + 1 == namespaceNames ? "other" : fmt::format("ns-vrf{}", number);
}

std::vector<Place> placesOf(FakeKernel const& kernel, NamespaceId network, LinkKind kind) {
    std::vector<Place> places;
    for (auto const& [ifIndex, link] : kernel.links(network)) {
        if (link.kind == kind) {
            places.push_back(link.place);
        }
    }
    return places;
}

}  // namespace

RandomOperations::RandomOperations(std::uint64_t seed, OperationWeights const& weights)
    : weights_(weights), random_(seed) {}

Operation RandomOperations::propose(FakeKernel const& kernel) {
    if (!planned_.empty()) {
        Operation const next = planned_.back();
        planned_.pop_back();
        return next;
    }
    auto const& w = weights_;
    std::array const weights{w.links,     w.bridges,    w.vrfs,     w.dummies,
                             w.states,    w.renames,    w.moves,    w.addresses,
                             w.lifetimes, w.duplicates, w.settings, w.namespaces};
    std::uint32_t total = 0;
    for (auto const weight : weights) {
        total += weight;
    }
    std::uint32_t chosen = below(total);
    std::size_t which = 0;
    while (chosen >= weights[which]) {
        chosen -= weights[which++];
    }
    switch (which) {
        case 0:
            return changeLinks(kernel, LinkKind::veth);
        case 1:
            return oneIn(3) ? changeLinks(kernel, LinkKind::bridge)
                            : setMaster(kernel, LinkKind::bridge);
        case 2:
            return oneIn(3) ? changeLinks(kernel, LinkKind::vrf) : setMaster(kernel, LinkKind::vrf);
        case 3:
            return changeLinks(kernel, LinkKind::dummy);
        case 4:
            return setState(kernel);
        case 5:
            return rename(kernel);
        case 6:
            return move(kernel);
        case 7:
            return changeAddresses(kernel);
        case 8:
            return changeLifetime(kernel);
        case 9:
            return detectDuplicate(kernel);
        case 10:
            return changeSettings(kernel);
        default:
            return changeNamespaces(kernel);
    }
}

std::string RandomOperations::doOne(FakeKernel& kernel) {
    Operation operation = propose(kernel);
    while (perform(kernel, operation) != 0) {
        operation = propose(kernel);
    }
    return text(operation);
}

// The standard's distributions are another in each library, and a seed tells of one history.
std::uint32_t RandomOperations::below(std::uint32_t limit) {
    return static_cast<std::uint32_t>(random_() % limit);
}

// Often the program's own, so that enough happens in one.
NamespaceId RandomOperations::anyNetwork(FakeKernel const& kernel) {
    auto const all = kernel.namespaces();
    return oneIn(2) ? all.front() : oneOf(all);
}

Link const& RandomOperations::anyLink(FakeKernel const& kernel) {
    auto const& links = kernel.links(anyNetwork(kernel));
    auto at = links.begin();
    if (links.size() > 1 && !oneIn(20)) {
        std::advance(at, 1 + below(static_cast<std::uint32_t>(links.size()) - 1));
    }
    return at->second;
}

std::string RandomOperations::anyLinkName() { return fmt::format("eth{}", below(linkNames)); }

Address RandomOperations::anyAddress() {
    std::uint32_t const subnet = below(2);
    std::uint32_t const host = 1 + below(3);
    if (oneIn(3)) {
        std::string const own =
            oneIn(5) ? fmt::format("fe80::{}/64", host)
                     : fmt::format("fd00:{}::{}/{}", subnet, host, oneIn(4) ? 128 : 64);
        std::uint32_t const nodad = weights_.withoutDetection || oneIn(2) ? IFA_F_NODAD : 0;
        Address address{.own = Nimb::IpGenAddrWithMask(own), .flags = nodad};
        if (oneIn(8)) {
            address.peer = Nimb::IpGenAddr(fmt::format("fd00:{}::{}", below(2), 1 + below(3)));
        }
        return address;
    }
    Address address{.own = Nimb::IpGenAddrWithMask(
                        fmt::format("10.0.{}.{}/{}", subnet, host, oneIn(4) ? 16 : 24))};
    if (oneIn(6)) {
        address.peer = Nimb::IpGenAddr(fmt::format("10.0.{}.{}", below(2), 1 + below(3)));
    }
    if (oneIn(5)) {
        address.scope = oneIn(2) ? RT_SCOPE_LINK : RT_SCOPE_HOST;
    }
    return address;
}

// Mostly with a name and an index that are free.
NewLink RandomOperations::anyNewLink(FakeKernel const& kernel) {
    NewLink wanted;
    for (int attempt = 0; attempt < 4; ++attempt) {
        wanted = {anyNetwork(kernel), anyLinkName(), 2 + below(linkNames + 2)};
        if (kernel.link(wanted.network, wanted.name) == nullptr &&
            !kernel.links(wanted.network).contains(wanted.ifIndex)) {
            break;
        }
    }
    return wanted;
}

Operation RandomOperations::addLink(FakeKernel const& kernel, LinkKind kind) {
    NewLink const wanted = anyNewLink(kernel);
    Operation operation{.kind = Kind::addLink,
                        .place = {wanted.network, wanted.ifIndex},
                        .name = wanted.name,
                        .linkKind = kind};
    if (kind == LinkKind::veth) {
        NewLink const peer = anyNewLink(kernel);
        operation.otherPlace = {peer.network, peer.ifIndex};
        operation.otherName = peer.name;
    }
    return operation;
}

Operation RandomOperations::changeLinks(FakeKernel const& kernel, LinkKind kind) {
    if (auto const places = placesOf(kernel, anyNetwork(kernel), kind);
        !places.empty() && oneIn(6)) {
        return {.kind = Kind::removeLink, .place = oneOf(places)};
    }
    return addLink(kernel, kind);
}

Operation RandomOperations::setMaster(FakeKernel const& kernel, LinkKind kind) {
    Link const& link = anyLink(kernel);
    auto const masters = placesOf(kernel, link.place.network, kind);
    bool const joins = !masters.empty() && !link.isMaster() && (link.master == 0 || oneIn(2));
    return {.kind = Kind::setMaster,
            .place = link.place,
            .otherPlace = joins ? oneOf(masters) : Place{}};
}

// A veth has no carrier, and does not check for duplicates, before its peer is up.
Operation RandomOperations::setState(FakeKernel const& kernel) {
    Link const& link = anyLink(kernel);
    if (oneIn(3)) {
        return {.kind = Kind::setDown, .place = link.place};
    }
    if (link.kind == LinkKind::veth) {
        planned_ = {{.kind = Kind::setUp, .place = link.peer}};
    }
    return {.kind = Kind::setUp, .place = link.place};
}

Operation RandomOperations::rename(FakeKernel const& kernel) {
    Link const& first = anyLink(kernel);
    Link const* const second = kernel.link(first.place.network, anyLinkName());
    if (second == nullptr || second->place == first.place) {
        return {.kind = Kind::rename, .place = first.place, .name = anyLinkName()};
    }
    // In reverse.
    planned_ = {{.kind = Kind::rename, .place = second->place, .name = first.name},
                {.kind = Kind::rename, .place = first.place, .name = second->name}};
    return {.kind = Kind::rename, .place = second->place, .name = "swap"};
}

Operation RandomOperations::move(FakeKernel const& kernel) {
    NamespaceId const target = anyNetwork(kernel);
    std::string const name = anyLinkName();
    // One that is taken there would be refused only after the move.
    bool const isNamed = oneIn(3) && kernel.link(target, name) == nullptr;
    return {.kind = Kind::moveLink,
            .place = anyLink(kernel).place,
            .name = isNamed ? name : "",
            .otherPlace = {.network = target}};
}

Operation RandomOperations::changeAddresses(FakeKernel const& kernel) {
    Link const& link = anyLink(kernel);
    std::vector<Address> there = link.ip4;
    there.insert(there.end(), link.ip6.begin(), link.ip6.end());
    if (!there.empty() && oneIn(2)) {
        return {.kind = Kind::removeAddress, .place = link.place, .address = oneOf(there)};
    }
    return {.kind = Kind::addAddress, .place = link.place, .address = anyAddress()};
}

Operation RandomOperations::changeLifetime(FakeKernel const& kernel) {
    Link const& link = anyLink(kernel);
    Address address = anyAddress();
    if (!oneIn(4)) {
        std::uint32_t const longest = weights_.longestLifetime;
        address.valid = longest - longest / 10 * below(6);
        address.preferred = oneIn(4) ? 0 : longest / 2;
    }
    return {.kind = Kind::replaceAddress, .place = link.place, .address = address};
}

Operation RandomOperations::detectDuplicate(FakeKernel const& kernel) {
    std::vector<Operation> possible;
    for (auto const id : kernel.namespaces()) {
        for (auto const& [ifIndex, link] : kernel.links(id)) {
            for (auto const& one : link.ip6) {
                if (one.dadEnds != never) {
                    possible.push_back(
                        {.kind = Kind::detectDuplicate, .place = link.place, .address = one});
                }
            }
        }
    }
    return possible.empty() ? changeAddresses(kernel) : oneOf(possible);
}

Operation RandomOperations::changeSettings(FakeKernel const& kernel) {
    return {.kind = oneIn(2) ? Kind::promoteSecondaries : Kind::keepAddrOnDown,
            .place = {.network = anyNetwork(kernel)},
            .on = oneIn(2)};
}

Operation RandomOperations::changeNamespaces(FakeKernel const& kernel) {
    std::string const name = namespaceName(below(namespaceNames));
    auto const named = kernel.names().find(name);
    if (named != kernel.names().end() && (named->second || oneIn(3))) {
        return {.kind = Kind::removeName, .name = name};
    }
    if (oneIn(4)) {
        return {.kind = Kind::makeName, .name = name};
    }
    if (oneIn(4)) {
        return {
            .kind = Kind::nameNamespace, .place = {.network = anyNetwork(kernel)}, .name = name};
    }
    return {.kind = Kind::makeNamespace, .name = name};
}

}  // namespace Netlink::Fake
