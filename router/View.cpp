#include "router/View.h"

#include <algorithm>

#include "IpLib/IntfAddrVrfTableSm/Standing.h"

namespace Routing {

using IpLib::IntfAddrEntryKey;
using IpLib::IntfAddrVrfTable;

Row rowOf(IntfAddrVrfTable const& table, IpLib::IntfAddrEntry const& entry) {
    // Only the subnet's set knows which of its rows are deprecated.
    auto const set = table.intfAddrEntrySetFromSubnet(entry.subnet());
    return {.addr = entry.key().addr,
            .virtualIp = entry.key().virtualIp,
            .intfId = entry.intfId(),
            .deprecated = set && set->deprecatedIntfAddrEntryHas(entry.key()),
            .subnet = entry.subnet()};
}

std::optional<Holder> holderOf(IntfAddrVrfTable const& table,
                               IpLib::IntfAddrWithMaskKey const& key) {
    using IpLib::IntfAddrVrfTableImpl::Standing;
    auto const standing = standingOf(table, IpLib::IntfAddrVrfTableImpl::Place(key));
    switch (standing.conflict) {
        case Standing::Conflict::none:
            break;
        case Standing::Conflict::withRow:
            return Holder{{standing.row->key().addr, standing.row->subnet().prefixLength()},
                          standing.row->intfId()};
        case Standing::Conflict::withSet:
            return Holder{{standing.set->subnet().address(), standing.set->subnet().prefixLength()},
                          standing.set->intfId(),
                          true};
    }
    return std::nullopt;
}

IntfAddrVrfTable::SetPtr connectedSubnet(IntfAddrVrfTable const& table,
                                         Nimb::IpGenAddr const& addr) {
    for (int length = Nimb::maxPrefixLength(addr.family()); length >= 0; --length) {
        auto const used = static_cast<std::uint8_t>(length);
        if (!table.hasSubnetOfLength(addr.family(), used)) {
            continue;
        }
        if (auto set = table.intfAddrEntrySetFromSubnet({addr, used})) {
            return set;
        }
    }
    return nullptr;
}

std::vector<Row> rows(IntfAddrVrfTable const& table) {
    std::vector<Row> found;
    found.reserve(table.intfAddrEntry().size());
    for (auto const& member : table.intfAddrEntry()) {
        found.push_back(rowOf(table, *member.value));
    }
    std::ranges::sort(found);
    return found;
}

std::vector<Row> ownersOf(IntfAddrVrfTable const& table, Nimb::IpGenAddr const& addr) {
    std::vector<Row> found;
    for (auto const& key :
         {IntfAddrEntryKey::makeIpKey(addr), IntfAddrEntryKey::makeVirtualIpKey(addr)}) {
        if (auto const entry = table.intfAddrEntryFromAddr(key)) {
            found.push_back(rowOf(table, *entry));
        }
    }
    if (addr.isV6LinkLocal()) {
        for (auto const& member : table.llIntfAddrEntryFromIntfId()) {
            if (member.value->key().addr == addr) {
                found.push_back(rowOf(table, *member.value));
            }
        }
    }
    std::ranges::sort(found);
    return found;
}

std::vector<DeferredAddr> deferredAddrs(
    IntfAddrVrfTable const& table,
    IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog const& backlog) {
    std::vector<DeferredAddr> found;
    for (auto const& member : backlog.backlog()) {
        found.push_back({.addr = member.key.addrWithMask,
                         .intfId = member.key.intfId,
                         .holder = holderOf(table, member.key)});
    }
    std::ranges::sort(found, [](DeferredAddr const& a, DeferredAddr const& b) {
        return a.addr != b.addr ? a.addr < b.addr : a.intfId < b.intfId;
    });
    return found;
}

}  // namespace Routing
