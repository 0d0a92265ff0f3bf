#include "feeds/netlink/Picture.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <set>

namespace Netlink {

namespace {

bool runs(Link const& link) {
    switch (link.operStatus) {
        case Interface::OperStatus::down:
        case Interface::OperStatus::lowerLayerDown:
        case Interface::OperStatus::notPresent:
            return false;
        default:
            return link.up;
    }
}

Place placeOf(Address const& address) {
    return address.dadFailed                          ? Place::duplicate
           : address.tentative && !address.optimistic ? Place::tentative
                                                      : Place::published;
}

Nimb::IpAddrWithMask ip4Of(Address const& address) {
    auto const addr = address.withMask();
    return {addr.address().ip4(), addr.prefixLength()};
}

// The addresses of one link that are published, as the loops below go over them.
class Painter {
public:
    Painter(Mirror const& mirror, MirroredLink const& link, Policy const& policy)
        : mirror_(mirror), link_(link), policy_(policy) {}

    LinkPicture paint(Nimb::IpAddrWithMask const& before) {
        Link const& link = *link_.link;
        if (policy_.leavesOut(link.name)) {
            for (Address const& address : link_.ip4.list()) {
                add(address, Place::leftOut);
            }
            for (auto const& [addr, address] : link_.ip6) {
                add(address, Place::leftOut);
            }
            return std::move(picture_);
        }
        LinkStatus status{.intf = link.name,
                          .device = {.deviceName = std::string(link.name.name()),
                                     .ifIndex = link.ifIndex,
                                     .operStatus = link.operStatus,
                                     .active = link.up}};
        paintIp4(before, status.ip);
        paintIp6(status.ip6);
        picture_.status = std::move(status);
        return std::move(picture_);
    }

private:
    AddressPicture& add(Address const& address, Place place) {
        return picture_.addresses.emplace_back(AddressPicture{
            .addr = address.withMask(), .place = place, .deviceDown = !runs(*link_.link)});
    }

    void paintIp4(Nimb::IpAddrWithMask const& before, Routing::IpIntf& ip) {
        auto const& list = link_.ip4.list();
        auto const canBePrimary = [](Address const& address) {
            return !address.secondary && placeOf(address) == Place::published;
        };
        auto primary = std::ranges::find_if(list, [&](Address const& address) {
            return canBePrimary(address) && ip4Of(address) == before;
        });
        if (primary == list.end()) {
            primary = std::ranges::find_if(list, canBePrimary);
        }
        if (primary != list.end()) {
            ip.primary = ip4Of(*primary);
        }
        for (auto one = list.begin(); one != list.end(); ++one) {
            auto const addr = ip4Of(*one);
            AddressPicture& picture = add(*one, placeOf(*one));
            if (picture.place == Place::published && one != primary) {
                ip.secondary.push_back(addr);
            }
        }
        std::ranges::sort(ip.secondary);
        leaveOutRepeated(ip);
        if (policy_.borrows && ip.secondary.empty()) {
            ip.unnumberedSource = lenderOf(ip.primary);
        }
    }

    // With two peers an address is there twice for the kernel, and once for everybody else.
    void leaveOutRepeated(Routing::IpIntf& ip) {
        auto const published = ip.secondary.size();
        ip.secondary.erase(std::unique(ip.secondary.begin(), ip.secondary.end()),
                           ip.secondary.end());
        std::erase(ip.secondary, ip.primary);
        if (ip.secondary.size() == published) {
            return;
        }
        std::set<Nimb::IpGenAddrWithMask> seen;
        for (AddressPicture& one : picture_.addresses) {
            if (one.place == Place::published && !seen.insert(one.addr).second) {
                one.place = Place::repeated;
            }
        }
    }

    Nimb::IntfId lenderOf(Nimb::IpAddrWithMask const& addr) const {
        Link const& link = *link_.link;
        if (link.kind != Link::Kind::other || addr.prefixLength() != 32) {
            return {};
        }
        auto const vrf = mirror_.vrfDevice(link.ifIndex);
        for (Link const* const lender : mirror_.lenders(addr.address())) {
            if (mirror_.vrfDevice(lender->ifIndex) == vrf && !lender->name.empty() &&
                !policy_.leavesOut(lender->name)) {
                return lender->name;
            }
        }
        return {};
    }

    void paintIp6(std::vector<Routing::Ip6IntfAddr>& ip6) {
        for (auto const& [key, address] : link_.ip6) {
            AddressPicture& picture = add(address, placeOf(address));
            picture.deprecatedLinkLocal = address.deprecated && picture.addr.isV6LinkLocal();
            if (picture.place == Place::published) {
                ip6.push_back({.addr = {picture.addr.address().ip6(), picture.addr.prefixLength()},
                               .deprecated = address.deprecated && !picture.deprecatedLinkLocal});
            }
        }
    }

    Mirror const& mirror_;
    MirroredLink const& link_;
    Policy const& policy_;
    LinkPicture picture_{};
};

}  // namespace

bool Policy::leavesOut(Nimb::IntfId const& intf) const {
    return std::ranges::any_of(leftOut, [name = std::string(intf.name())](auto const& pattern) {
        return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

std::string_view toStrep(Place place) {
    constexpr std::array<std::string_view, 5> names{"published", "tentative", "duplicate",
                                                    "repeated", "left out"};
    return names.at(static_cast<std::size_t>(place));
}

LinkPicture pictureOf(Mirror const& mirror, std::uint32_t ifIndex, Policy const& policy,
                      Nimb::IpAddrWithMask const& before) {
    auto const* const link = mirror.find(ifIndex);
    if (!link || !link->link || link->link->name.empty()) {
        return {};
    }
    return Painter(mirror, *link, policy).paint(before);
}

}  // namespace Netlink
