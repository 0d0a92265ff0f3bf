#include "router/repair/Succession.h"

#include "IpLib/IntfAddrVrfTableSm/Place.h"
#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"

namespace Routing {

using IpLib::IntfAddrWithMask;
using IpLib::IntfAddrWithMaskKey;
using IpLib::IntfAddrVrfTableImpl::Place;

namespace {

// The places that somebody wants who does not stand there.
class Contest {
public:
    void enter(IntfAddrWithMaskKey const& key) {
        any_ = true;
        if (key.isV6LinkLocal()) {
            linkLocals_.insert(key.intfId);
        } else {
            addrs_.insert(key.addrWithMask.address());
            subnets_.insert(key.addrWithMask.prefix());
        }
    }

    bool concerns(IntfAddrWithMaskKey const& key) const {
        return any_ && (key.isV6LinkLocal() ? linkLocals_.contains(key.intfId)
                                            : addrs_.contains(key.addrWithMask.address()) ||
                                                  subnets_.contains(key.addrWithMask.prefix()));
    }

private:
    bool any_ = false;
    Zin::HashSet2018<Nimb::IntfId> linkLocals_{Zin::hashSeed() ^ 0x3d5b02e1};
    Zin::HashSet2018<Nimb::IpGenAddr> addrs_{Zin::hashSeed() ^ 0x88f0a46c};
    Zin::HashSet2018<Nimb::IpGenPrefix> subnets_{Zin::hashSeed() ^ 0xe61c79b3};
};

}  // namespace

bool standsInItsPlace(IpLib::IntfAddrVrfTable const& table, IpLib::IntfAddrEntry const& row) {
    auto const* const indexed = table.intfAddrEntryFromAddr().find(row.key());
    if (!indexed || (*indexed)->content() != row.content()) {
        return false;
    }
    if (row.key().addr.isV6LinkLocal()) {
        auto const* const entry = table.llIntfAddrEntryFromIntfId().find(row.intfId());
        return entry && (*entry)->content() == row.content();
    }
    auto const* const set = table.intfAddrEntrySetFromSubnet().find(row.subnet());
    return set && (*set)->intfId() == row.intfId();
}

std::optional<std::pair<IntfAddrWithMaskKey, bool>> publishedAs(Published const& published,
                                                                IntfAddrWithMaskKey const& key) {
    auto const deprecated = published.deprecated(key);
    if (!key.isV6LinkLocal()) {
        return deprecated ? std::optional(std::pair(key, *deprecated)) : std::nullopt;
    }
    // With another length it is the same address.
    auto const any = deprecated ? std::optional(key)
                                : published.linkLocal(key.intfId, key.addrWithMask.address());
    return any ? std::optional(std::pair(*any, false)) : std::nullopt;
}

std::vector<IntfAddrWithMask> succession(Published const& published,
                                         IpLib::IntfAddrVrfTable const& old,
                                         std::vector<IntfAddrWithMaskKey> const& waiting) {
    std::vector<IntfAddrWithMask> order;
    std::vector<IntfAddrWithMask> inOwnSubnet;
    std::vector<IntfAddrWithMask> others;
    Contest contest;
    Zin::HashSet2018<Nimb::IpGenPrefix> subnetsOfOthers(Zin::hashSeed() ^ 0x5a0c94d7);
    auto const take = [](std::vector<IntfAddrWithMask>& into, IntfAddrWithMaskKey const& key,
                         bool deprecated) {
        into.emplace_back(key, deprecated && !key.isV6LinkLocal());
    };
    published.forEach([&](IntfAddrWithMaskKey const& key, bool deprecated) {
        if (!published.hasDevice(key.intfId)) {
            return;
        }
        Place const place(key);
        auto const* const row = old.intfAddrEntry().find(place.content);
        if (row && standsInItsPlace(old, **row)) {
            return;
        }
        contest.enter(key);
        auto const set = old.intfAddrEntrySetFromSubnet(place.subnet());
        if (row) {
            take(others, key, deprecated);
            subnetsOfOthers.insert(place.subnet());
        } else if (set && set->intfId() == key.intfId && !key.isV6LinkLocal()) {
            take(inOwnSubnet, key, deprecated);
        }
    });
    // What waits in its own subnet comes before the rest of the queue only where the subnet itself
    // would be lost.
    Zin::HashSet2018<IntfAddrWithMaskKey> waits(Zin::hashSeed() ^ 0x71be20f3);
    for (auto const& key : waiting) {
        waits.insert(key);
    }
    std::erase_if(inOwnSubnet, [&](IntfAddrWithMask const& addr) {
        return waits.contains(addr.key()) &&
               !subnetsOfOthers.contains(addr.key().addrWithMask.prefix());
    });
    for (auto const& member : old.intfAddrEntry()) {
        auto const& row = *member.value;
        IntfAddrWithMaskKey const key{row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
        // A refused address comes to nobody's mind but here.
        if (row.key().virtualIp || !(contest.concerns(key) || key.isV6LinkLocal()) ||
            !published.hasDevice(key.intfId) || !standsInItsPlace(old, row)) {
            continue;
        }
        if (auto const as = publishedAs(published, key)) {
            take(order, as->first, as->second);
        }
    }
    order.insert(order.end(), inOwnSubnet.begin(), inOwnSubnet.end());
    order.insert(order.end(), others.begin(), others.end());
    for (auto const& key : waiting) {
        auto const deprecated = published.deprecated(key);
        if (deprecated && published.hasDevice(key.intfId) &&
            !Published::isRefused(key, *deprecated)) {
            take(order, key, *deprecated);
        }
    }
    return order;
}

}  // namespace Routing
