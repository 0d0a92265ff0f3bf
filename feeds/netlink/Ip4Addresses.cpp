#include "feeds/netlink/Ip4Addresses.h"

#include <algorithm>
#include <utility>

namespace Netlink {

namespace {

// What the kernel takes for the same address: it may stand on the interface with several lengths,
// and with several peers.
bool isSame(Address const& a, Address const& b) {
    return a.local == b.local && a.peer == b.peer && a.prefixLength == b.prefixLength;
}

bool sharesSubnet(Address const& a, Address const& b) {
    return a.prefixLength == b.prefixLength &&
           a.peer.masked(a.prefixLength) == b.peer.masked(b.prefixLength);
}

}  // namespace

bool Ip4Addresses::set(Address const& address) {
    auto const there = find(address);
    if (there != list_.end()) {
        return std::exchange(*there, address) != address;
    }
    list_.insert(address.secondary ? list_.end()
                                   : behindPrimaries(list_.begin(), list_.begin(), address.scope),
                 address);
    return true;
}

bool Ip4Addresses::remove(Address const& address) {
    auto const there = find(address);
    if (there == list_.end()) {
        return false;
    }
    if (!there->secondary) {
        promoteInPlaceOf(there);
    }
    list_.erase(find(address));
    return true;
}

bool Ip4Addresses::replace(std::vector<Address> list) {
    return std::exchange(list_, std::move(list)) != list_;
}

Ip4Addresses::Position Ip4Addresses::find(Address const& address) {
    return std::ranges::find_if(list_,
                                [&address](Address const& one) { return isSame(one, address); });
}

// Behind the last primary from there on that is of the same scope or a narrower one.
Ip4Addresses::Position Ip4Addresses::behindPrimaries(Position from, Position dflt,
                                                     std::uint8_t scope) {
    for (auto one = from; one != list_.end(); ++one) {
        if (!one->secondary && scope <= one->scope) {
            dflt = one + 1;
        }
    }
    return dflt;
}

// A secondary that is still there when its primary goes is being promoted. Until it is told of
// again it is called secondary, but it stands where it will.
void Ip4Addresses::promoteInPlaceOf(Position primary) {
    auto const promoted = std::find_if(primary + 1, list_.end(), [primary](Address const& one) {
        return one.secondary && sharesSubnet(*primary, one);
    });
    if (promoted != list_.end()) {
        auto const place = behindPrimaries(primary + 1, primary + 1, primary->scope);
        if (place <= promoted) {
            std::rotate(place, promoted, promoted + 1);
        }
    }
}

}  // namespace Netlink
