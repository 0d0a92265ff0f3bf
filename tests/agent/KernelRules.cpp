#include "KernelRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace Simulated {
namespace {

using namespace Netlink::Fake;

// What the name of a namespace may be, with its "ns-".
constexpr std::size_t longestName = 150;

std::optional<L3::VrfName> vrfOfName(std::string const& name) {
    if (!name.starts_with("ns-") || name == "ns-" || name == "ns-default" ||
        name.size() > longestName) {
        return std::nullopt;
    }
    return L3::VrfName(name.substr(3));
}

// By namespace.
std::map<Netlink::NamespaceId, L3::VrfName> homesOf(FakeKernel& kernel,
                                                    std::set<std::string> const& refused) {
    std::map<Netlink::NamespaceId, L3::VrfName> homes{{kernel.ownNamespace(), "default"}};
    for (bool const isRefused : {false, true}) {
        for (auto const& [name, id] : kernel.names()) {
            auto const vrf = vrfOfName(name);
            if (vrf && id && refused.contains(name) == isRefused) {
                homes.try_emplace(*id, *vrf);
            }
        }
    }
    return homes;
}

Interface::OperStatus operStatusOf(Link const& link) {
    // Whatever it was, or will be.
    if (!link.up) {
        return Interface::OperStatus::down;
    }
    switch (link.operState) {
        case IF_OPER_DOWN:
            return Interface::OperStatus::down;
        case IF_OPER_LOWERLAYERDOWN:
            return Interface::OperStatus::lowerLayerDown;
        case IF_OPER_UP:
            return Interface::OperStatus::up;
        default:
            return Interface::OperStatus::unknown;
    }
}

Nimb::IpGenAddrWithMask published(Address const& address) {
    auto const length = address.own.prefixLength();
    Nimb::IpGenPrefix const subnet(address.farEnd(), length);
    return Nimb::IpGenPrefix(address.own.address(), length) == subnet
               ? address.own
               : Nimb::IpGenAddrWithMask(address.own.address(),
                                         Nimb::maxPrefixLength(address.own.family()));
}

Nimb::IpAddrWithMask published4(Address const& address) {
    auto const addr = published(address);
    return {addr.address().ip4(), addr.prefixLength()};
}

std::optional<bool> isDeprecated(Address const& address, double now) {
    if (published(address).isV6LinkLocal()) {
        return false;
    }
    bool const isRounded =
        !address.has(IFA_F_DEPRECATED) && address.since + address.preferred - now < 1;
    return isRounded ? std::nullopt : std::optional(address.has(IFA_F_DEPRECATED));
}

// RFC 4429: optimistic addresses are used before it is known that nobody else has them.
bool isInUse(std::uint32_t flags) {
    bool const isTentative = (flags & IFA_F_TENTATIVE) != 0 && (flags & IFA_F_OPTIMISTIC) == 0;
    return !isTentative && (flags & IFA_F_DADFAILED) == 0;
}

bool mayLend(Link const& link) {
    return link.kind == LinkKind::loopback || link.kind == LinkKind::dummy ||
           link.kind == LinkKind::vrf;
}

class OfNetwork {
public:
    OfNetwork(FakeKernel& kernel, Netlink::NamespaceId id, L3::VrfName const& home,
              std::set<L3::VrfName> const& taken, Wanted& wanted)
        : kernel_(kernel),
          links_(kernel.links(id)),
          isOwn_(id == kernel.ownNamespace()),
          home_(home),
          taken_(taken),
          wanted_(wanted) {}

    void add() {
        wanted_[home_].home = home_;
        for (auto const& [ifIndex, link] : links_) {
            if (auto const vrf = vrfOf(link)) {
                auto& one = wanted_[*vrf];
                one.home = home_;
                one.intfs.emplace(Nimb::IntfId(link.name), intf(link));
            }
        }
    }

private:
    // 0: none.
    std::uint32_t device(Link const& link) const {
        auto const* one = &link;
        while (one->kind != LinkKind::vrf && one->master != 0) {
            one = &links_.at(one->master);
        }
        return one->kind == LinkKind::vrf ? one->place.ifIndex : 0;
    }

    std::optional<L3::VrfName> vrfOf(Link const& link) const {
        auto const ifIndex = device(link);
        if (ifIndex == 0) {
            return home_;
        }
        auto const& name = links_.at(ifIndex).name;
        L3::VrfName const vrf(isOwn_ ? name : home_.bytes() + "/" + name);
        bool const isTaken = isOwn_ && taken_.contains(vrf);
        return isTaken || vrf.bytes().size() + 3 > longestName ? std::nullopt : std::optional(vrf);
    }

    WantedIntf intf(Link const& link) const {
        WantedIntf one{
            .ifIndex = link.place.ifIndex, .operStatus = operStatusOf(link), .up = link.up};
        for (Address const& address : link.ip4) {
            one.ip4.push_back(published4(address));
            if (!address.has(IFA_F_SECONDARY)) {
                one.primaries.insert(published4(address));
            }
        }
        std::set<Nimb::IpAddrWithMask> const different(one.ip4.begin(), one.ip4.end());
        if (different.size() == 1 && different.begin()->prefixLength() == 32 && !mayLend(link)) {
            one.lenders = lendersOf(link, *different.begin());
        }
        for (Address const& address : link.ip6) {
            auto const general = published(address);
            Nimb::Ip6AddrWithMask const addr(general.address().ip6(), general.prefixLength());
            bool const isUntold =
                isInUse(address.flags) != (address.told && isInUse(*address.told));
            if (isUntold) {
                one.untold.insert(addr);
            }
            if (isUntold || isInUse(address.flags)) {
                one.ip6[addr] = isDeprecated(address, kernel_.now());
            } else {
                one.keptBack[addr] = address.has(IFA_F_DADFAILED);
            }
        }
        return one;
    }

    std::set<Nimb::IntfId> lendersOf(Link const& borrower, Nimb::IpAddrWithMask const& addr) const {
        std::set<Nimb::IntfId> lenders;
        for (auto const& [ifIndex, link] : links_) {
            if (mayLend(link) && device(link) == device(borrower) &&
                std::ranges::any_of(link.ip4, [&addr](Address const& address) {
                    return published4(address) == addr;
                })) {
                lenders.insert(Nimb::IntfId(link.name));
            }
        }
        return lenders;
    }

    FakeKernel& kernel_;
    std::map<std::uint32_t, Link> const& links_;
    bool const isOwn_;
    L3::VrfName const home_;
    std::set<L3::VrfName> const& taken_;
    Wanted& wanted_;
};

}  // namespace

Wanted wantedOf(FakeKernel& kernel, std::set<std::string> const& refused) {
    Wanted wanted;
    auto const homes = homesOf(kernel, refused);
    std::set<L3::VrfName> taken;
    for (auto const& [id, vrf] : homes) {
        taken.insert(vrf);
    }
    for (auto const& [id, vrf] : homes) {
        OfNetwork(kernel, id, vrf, taken, wanted).add();
    }
    return wanted;
}

}  // namespace Simulated
