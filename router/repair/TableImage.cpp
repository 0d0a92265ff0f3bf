#include "router/repair/TableImage.h"

#include <algorithm>
#include <functional>

namespace Routing {

using IpLib::IntfAddrEntry;
using IpLib::IntfAddrEntrySet;

namespace {

IpLib::IntfAddrEntryContent contentOf(IntfAddrEntry const& row) { return row.content(); }
IpLib::IntfAddrEntryKey rowKeyOf(IntfAddrEntry const& row) { return row.key(); }
Nimb::IntfId intfOf(IntfAddrEntry const& row) { return row.intfId(); }
Nimb::IpGenPrefix subnetOf(IntfAddrEntrySet const& set) { return set.subnet(); }

bool isSame(IntfAddrEntry const& a, IntfAddrEntry const& b) {
    return &a == &b || a.content() == b.content();
}
bool isSame(IntfAddrEntrySet const& a, IntfAddrEntrySet const& b) {
    return a.intfId() == b.intfId();
}

template <class Members, class Map>
void copy(Members& members, Map const& map) {
    members.reserve(map.size());
    for (auto const& member : map) {
        members.push_back(member.value);
    }
}

// `map` is null where there is no table. The key of a member is what `keyOf` says of its value.
template <class Key, class Members, class Map, class KeyOf>
Difference<Key> difference(Members const& old, Map const* map, KeyOf const& keyOf) {
    Difference<Key> difference;
    if (!map) {
        for (auto const& member : old) {
            difference.gone.push_back(keyOf(*member));
        }
        return difference;
    }
    std::vector<void const*> same;
    same.reserve(old.size());
    // Both are in much the same order: what follows the last one that was found is looked at first.
    auto at = map->begin();
    for (auto const& member : old) {
        Key const key = keyOf(*member);
        if (at == map->end() || at->key != key) {
            at = map->from(key);
        }
        if (at == map->end()) {
            difference.gone.push_back(key);
            continue;
        }
        if (isSame(*member, *at->value)) {
            same.push_back(at->value.get());
        } else {
            difference.gone.push_back(key);
        }
        ++at;
    }
    if (map->size() > same.size()) {
        std::ranges::sort(same, std::less<>());
        for (auto const& member : *map) {
            if (!std::ranges::binary_search(same, member.value.get(), std::less<>())) {
                difference.come.push_back(member.key);
            }
        }
    }
    return difference;
}

}  // namespace

TableImage::TableImage(IpLib::IntfAddrVrfTable const* table) {
    if (table) {
        copy(rows_, table->intfAddrEntry());
        copy(rowsFromAddr_, table->intfAddrEntryFromAddr());
        copy(setsFromSubnet_, table->intfAddrEntrySetFromSubnet());
        copy(linkLocalFromIntf_, table->llIntfAddrEntryFromIntfId());
    }
}

TableDifference TableImage::differenceTo(IpLib::IntfAddrVrfTable const* table) const {
    return {.rows = difference<IpLib::IntfAddrEntryContent>(
                rows_, table ? &table->intfAddrEntry() : nullptr, contentOf),
            .rowsFromAddr = difference<IpLib::IntfAddrEntryKey>(
                rowsFromAddr_, table ? &table->intfAddrEntryFromAddr() : nullptr, rowKeyOf),
            .setsFromSubnet = difference<Nimb::IpGenPrefix>(
                setsFromSubnet_, table ? &table->intfAddrEntrySetFromSubnet() : nullptr, subnetOf),
            .linkLocalFromIntf = difference<Nimb::IntfId>(
                linkLocalFromIntf_, table ? &table->llIntfAddrEntryFromIntfId() : nullptr, intfOf)};
}

}  // namespace Routing
