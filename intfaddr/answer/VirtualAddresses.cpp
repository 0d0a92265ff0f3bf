#include "intfaddr/answer/VirtualAddresses.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace IntfAddr {

namespace {

using Routing::Operation;

Operation operationOf(VirtualAddress const& address, bool adds) {
    auto const& [vrf, addr] = address;
    if (addr.family() == Nimb::AddressFamily::ipv6) {
        return adds ? Operation(Routing::Vip6Add{vrf, addr.ip6()})
                    : Operation(Routing::Vip6Del{vrf, addr.ip6()});
    }
    Nimb::IpAddrWithMask const alone(addr.ip4(), Nimb::maxPrefixLength(addr.family()));
    return adds ? Operation(Routing::VipAdd{vrf, alone}) : Operation(Routing::VipDel{vrf, alone});
}

VirtualAddressSet without(VirtualAddressSet const& all, VirtualAddressSet const& these) {
    VirtualAddressSet rest;
    std::ranges::set_difference(all, these, std::inserter(rest, rest.end()));
    return rest;
}

}  // namespace

VirtualAddresses::VirtualAddresses(Apply apply, KeptAddresses::Notice notice)
    : apply_(std::move(apply)), notice_(std::move(notice)) {}

bool VirtualAddresses::add(VirtualAddress const& address) {
    added_.insert(address);
    bool const isKept = keep();
    change({address}, {});
    return isKept;
}

bool VirtualAddresses::del(VirtualAddress const& address) {
    added_.erase(address);
    bool const isKept = keep();
    change({}, {address});
    return isKept;
}

void VirtualAddresses::configuredAre(VirtualAddressSet const& configured) {
    auto const before = std::exchange(configured_, configured);
    auto const byHand = std::exchange(added_, without(added_, configured));
    if (added_ != byHand) {
        keep();
    }
    change(without(without(configured, before), byHand), without(before, configured));
}

void VirtualAddresses::keptAt(std::optional<std::string> const& path) {
    if (std::exchange(path_, path) == path || !path) {
        return;
    }
    auto const kept = KeptAddresses(*path, notice_).get();
    auto const news = without(without(kept, configured_), added_);
    added_.insert(news.begin(), news.end());
    if (added_ != kept) {
        keep();
    }
    change(news, {});
}

void VirtualAddresses::change(VirtualAddressSet const& added,
                              VirtualAddressSet const& removed) const {
    std::vector<Operation> operations;
    for (auto const& address : removed) {
        operations.push_back(operationOf(address, false));
    }
    for (auto const& address : added) {
        operations.push_back(operationOf(address, true));
    }
    if (!operations.empty()) {
        apply_(operations);
    }
}

bool VirtualAddresses::keep() const { return !path_ || KeptAddresses(*path_, notice_).put(added_); }

}  // namespace IntfAddr
