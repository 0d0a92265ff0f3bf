#include "router/repair/Succession.h"

namespace Routing {

using IpLib::IntfAddrWithMask;
using IpLib::IntfAddrWithMaskKey;

namespace {

// Whether the row is what look-ups find, and stands in its interface's own place.
bool isOwn(IpLib::IntfAddrVrfTable const& table, IpLib::IntfAddrEntry const& row) {
    auto const indexed = table.intfAddrEntryFromAddr(row.key());
    if (!indexed || indexed->content() != row.content()) {
        return false;
    }
    if (row.key().addr.isV6LinkLocal()) {
        auto const entry = table.llIntfAddrEntryFromIntfId(row.intfId());
        return entry && entry->content() == row.content();
    }
    auto const set = table.intfAddrEntrySetFromSubnet(row.subnet());
    return set && set->intfId() == row.intfId();
}

}  // namespace

std::vector<IntfAddrWithMask> succession(Published const& published,
                                         IpLib::IntfAddrVrfTable const& old,
                                         std::vector<IntfAddrWithMaskKey> const& waiting) {
    std::vector<IntfAddrWithMask> order;
    std::vector<IntfAddrWithMask> others;
    auto const take = [&](std::vector<IntfAddrWithMask>& into, IntfAddrWithMaskKey const& key,
                          bool deprecated) {
        if (published.hasDevice(key.intfId)) {
            into.emplace_back(key, deprecated && !key.isV6LinkLocal());
        }
    };
    for (auto const& member : old.intfAddrEntry()) {
        auto const& row = *member.value;
        IntfAddrWithMaskKey const key{row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
        if (row.key().virtualIp) {
            continue;
        }
        if (auto const deprecated = published.deprecated(key)) {
            take(isOwn(old, row) ? order : others, key, *deprecated);
        }
    }
    published.forEach([&](IntfAddrWithMaskKey const& key, bool deprecated) {
        auto const set = old.intfAddrEntrySetFromSubnet(key.addrWithMask.prefix());
        if (set && set->intfId() == key.intfId && !key.isV6LinkLocal()) {
            take(order, key, deprecated);
        }
    });
    order.insert(order.end(), others.begin(), others.end());
    for (auto const& key : waiting) {
        auto const deprecated = published.deprecated(key);
        if (deprecated && !Published::isRefused(key, *deprecated)) {
            take(order, key, *deprecated);
        }
    }
    return order;
}

}  // namespace Routing
