#include "router/repair/TableImage.h"

namespace Routing {

template <class Key, class Mark>
template <class Map, class MarkOf>
Difference<Key> TableImage::Members<Key, Mark>::update(Map const* map, MarkOf const& markOf) {
    Difference<Key> difference;
    for (auto const& [key, mark] : marks_) {
        auto const* const present = map ? map->find(key) : nullptr;
        if (!present || markOf(**present) != mark) {
            difference.gone.push_back(key);
        }
    }
    for (Key const& key : difference.gone) {
        marks_.erase(key);
    }
    if (map) {
        for (auto const& member : *map) {
            if (marks_.emplace(member.key, markOf(*member.value)).inserted) {
                difference.come.push_back(member.key);
            }
        }
    }
    return difference;
}

TableDifference TableImage::update(IpLib::IntfAddrVrfTable const* table) {
    auto const none = [](IpLib::IntfAddrEntry const&) { return None(); };
    auto const content = [](IpLib::IntfAddrEntry const& row) { return row.content(); };
    auto const intfId = [](IpLib::IntfAddrEntrySet const& set) { return set.intfId(); };
    return {.rows = rows_.update(table ? &table->intfAddrEntry() : nullptr, none),
            .rowsFromAddr =
                rowsFromAddr_.update(table ? &table->intfAddrEntryFromAddr() : nullptr, content),
            .setsFromSubnet = setsFromSubnet_.update(
                table ? &table->intfAddrEntrySetFromSubnet() : nullptr, intfId),
            .linkLocalFromIntf = linkLocalFromIntf_.update(
                table ? &table->llIntfAddrEntryFromIntfId() : nullptr, content)};
}

}  // namespace Routing
