#include "AddressFaults.h"

#include <algorithm>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

namespace Healing {
namespace {

using Row = TableView::Row;

bool publishesInAnyLength(TableView const& view, Row const& row) {
    return std::ranges::any_of(view.published, [&](auto const& member) {
        auto const& [intfId, addr] = member.first;
        return intfId == row.intfId && addr.address() == row.key.addr;
    });
}

bool publishesVirtually(TableView const& view, Nimb::IpGenAddr const& addr) {
    return std::ranges::any_of(view.book.virtualAddrs,
                               [&](auto const& one) { return one.address() == addr; });
}

template <class Condition>
bool hasRowSuchThat(TableView const& view, Condition const& condition) {
    return std::ranges::any_of(view.table.intfAddrEntry(), [&](auto const& member) {
        return !member.key.key.virtualIp && condition(member.key);
    });
}

bool hasLinkLocalRow(TableView const& view, Nimb::IntfId const& intfId,
                     Nimb::IpGenAddr const& addr) {
    return hasRowSuchThat(
        view, [&](Row const& row) { return row.intfId == intfId && row.key.addr == addr; });
}

// Another row of its address; the subnet's set, where that is another interface's; another
// link-local row of the interface.
bool isHeldBack(TableView const& view, Row const& wanted) {
    if (TableView::isLinkLocal(wanted)) {
        return hasRowSuchThat(view, [&](Row const& row) {
            return TableView::isLinkLocal(row) && row.intfId == wanted.intfId;
        });
    }
    auto const set = view.table.intfAddrEntrySetFromSubnet(wanted.subnet);
    return (set && set->intfId() != wanted.intfId) ||
           hasRowSuchThat(view, [&](Row const& row) { return row.key == wanted.key; });
}

bool waits(TableView const& view, IpLib::IntfAddrWithMaskKey const& key) {
    return view.machine.deferredIntfAddBacklog()->backlogHas(key);
}

}  // namespace

void findUnfoundedRows(TableView const& view, Faults& faults) {
    for (auto const& member : view.table.intfAddrEntry()) {
        Row const& row = member.key;
        if (row.key.virtualIp) {
            if (!publishesVirtually(view, row.key.addr)) {
                faults.add("virtual row unpublished", "{}", row.key.addr);
            }
            continue;
        }
        if (TableView::isLinkLocal(row) ? !publishesInAnyLength(view, row)
                                        : !view.published.contains(TableView::source(row))) {
            faults.add("row unpublished", "{} of {}", row, row.intfId);
        }
        if (!view.hasDevice(row.intfId)) {
            faults.add("row without device", "{} of {}", row, row.intfId);
        }
    }
}

void findLostAddresses(TableView const& view, Faults& faults) {
    for (auto const& [source, deprecated] : view.published) {
        auto const& [intfId, addr] = source;
        if (!view.hasDevice(intfId)) {
            continue;
        }
        Row const wanted = TableView::rowOf(intfId, addr);
        bool const isLinkLocal = addr.isV6LinkLocal();
        if (view.table.intfAddrEntryHas(wanted) ||
            (isLinkLocal && (deprecated || hasLinkLocalRow(view, intfId, addr.address())))) {
            continue;
        }
        if (!waits(view, {intfId, addr})) {
            faults.add("address lost", "{} of {}", addr, intfId);
        } else if (!isHeldBack(view, wanted)) {
            faults.add("address waits for nothing", "{} of {}", addr, intfId);
        }
    }
    for (auto const& addr : view.book.virtualAddrs) {
        Row const wanted{.key = {.intfId = {}, .addr = addr.address(), .virtualIp = true},
                         .intfId = {},
                         .subnet = {}};
        if (!view.table.intfAddrEntryHas(wanted)) {
            faults.add("virtual address lost", "{}", addr);
        }
    }
}

void findIdleWaiters(TableView const& view, Faults& faults) {
    for (auto const& member : view.machine.deferredIntfAddBacklog()->backlog()) {
        auto const& [intfId, addr] = member.key;
        if (!view.published.contains({intfId, addr})) {
            faults.add("waits unpublished", "{} of {}", addr, intfId);
        } else if (!view.hasDevice(intfId)) {
            faults.add("waits without device", "{} of {}", addr, intfId);
        }
    }
}

}  // namespace Healing
