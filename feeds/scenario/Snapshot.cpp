#include "feeds/scenario/Snapshot.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

namespace Scenario {

namespace {

using IpLib::IntfAddrEntryKey;
using IpLib::IntfAddrVrfTable;

// The keys of a collection, sorted.
template <class Map>
auto sortedKeys(Map const& map) {
    std::vector<std::remove_cvref_t<decltype(Map::Member::key)>> keys;
    keys.reserve(map.size());
    for (auto const& member : map) {
        keys.push_back(member.key);
    }
    std::ranges::sort(keys);
    return keys;
}

OrderedJson json(Nimb::IntfId const& intfId) { return intfId.name(); }

OrderedJson json(IntfAddrEntryKey const& key) {
    return {{"intf", json(key.intfId)}, {"addr", key.addr.toStrep()}, {"vip", key.virtualIp}};
}

OrderedJson json(IntfAddrEntryKey const& key, Nimb::IntfId const& intfId,
                 Nimb::IpGenPrefix const& subnet) {
    return {{"key", json(key)}, {"intf", json(intfId)}, {"subnet", subnet.toStrep()}};
}

OrderedJson rows(IntfAddrVrfTable const& table) {
    OrderedJson list = OrderedJson::array();
    for (auto const& content : sortedKeys(table.intfAddrEntry())) {
        list.push_back(rowJson(content));
    }
    return list;
}

OrderedJson byAddr(IntfAddrVrfTable const& table) {
    OrderedJson list = OrderedJson::array();
    for (auto const& key : sortedKeys(table.intfAddrEntryFromAddr())) {
        auto const row = table.intfAddrEntryFromAddr(key);
        list.push_back(json(key, row->intfId(), row->subnet()));
    }
    return list;
}

OrderedJson keys(IpLib::IntfAddrEntrySet::Rows const& rows) {
    OrderedJson list = OrderedJson::array();
    for (auto const& key : sortedKeys(rows)) {
        list.push_back(json(key));
    }
    return list;
}

OrderedJson subnets(IntfAddrVrfTable const& table) {
    OrderedJson list = OrderedJson::array();
    for (auto const& subnet : sortedKeys(table.intfAddrEntrySetFromSubnet())) {
        auto const set = table.intfAddrEntrySetFromSubnet(subnet);
        list.push_back({{"subnet", subnet.toStrep()},
                        {"intf", json(set->intfId())},
                        {"entries", keys(set->intfAddrEntry())},
                        {"deprecated", keys(set->deprecatedIntfAddrEntry())}});
    }
    return list;
}

OrderedJson linkLocal(IntfAddrVrfTable const& table) {
    // Each name is there once, so that none need be looked for.
    OrderedJson::object_t members;
    for (auto const& intfId : sortedKeys(table.llIntfAddrEntryFromIntfId())) {
        members.emplace_back(std::string(intfId.name()),
                             table.llIntfAddrEntryFromIntfId(intfId)->key().addr.toStrep());
    }
    return members;
}

OrderedJson deferred(IpLib::IntfAddrVrfTableSm const& sm) {
    OrderedJson list = OrderedJson::array();
    for (auto const& key : sortedKeys(sm.deferredIntfAddBacklog()->backlog())) {
        list.push_back({{"intf", json(key.intfId)}, {"addr", key.addrWithMask.toStrep()}});
    }
    return list;
}

OrderedJson cleanup(IpLib::IntfAddrVrfTableSm const& sm) {
    OrderedJson list = OrderedJson::array();
    auto const& backlog = sm.intfCleanupBacklog();
    if (!backlog) {
        return list;
    }
    for (auto const& key : sortedKeys(backlog->backlog())) {
        list.push_back({{"intf", json(key.intfId)},
                        {"af", toStrep(key.af)},
                        {"since", backlog->backlog(key)->emplacementTime()}});
    }
    return list;
}

}  // namespace

OrderedJson snapshot(Routing::Router const& router) {
    OrderedJson::object_t vrfs;
    for (auto const& vrf : sortedKeys(router.tables()->intfAddrVrfTable())) {
        auto const table = router.table(vrf);
        auto const sm = router.tableSm(vrf);
        OrderedJson content = {{"rows", rows(*table)},
                               {"byAddr", byAddr(*table)},
                               {"subnets", subnets(*table)},
                               {"linkLocal", linkLocal(*table)},
                               {"deferred", sm ? deferred(*sm) : OrderedJson::array()},
                               {"cleanup", sm ? cleanup(*sm) : OrderedJson::array()}};
        vrfs.emplace_back(vrf.bytes(), std::move(content));
    }
    return vrfs;
}

OrderedJson rowJson(IpLib::IntfAddrEntryContent const& content) {
    return json(content.key, content.intfId, content.subnet);
}

OrderedJson rowTexts(IntfAddrVrfTable const& table) {
    std::vector<std::string> texts;
    for (auto const& member : table.intfAddrEntry()) {
        texts.push_back(member.key.toStrep());
    }
    std::ranges::sort(texts);
    return texts;
}

}  // namespace Scenario
