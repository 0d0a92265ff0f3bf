#include "IndexFaults.h"

namespace Healing {
namespace {

using Row = TableView::Row;

bool stands(TableView const& view, IpLib::IntfAddrVrfTable::RowPtr const& row) {
    return view.table.intfAddrEntry(row->content()) == row;
}

void findFaultsOfSet(TableView const& view, Nimb::IpGenPrefix const& subnet,
                     IpLib::IntfAddrEntrySet const& set, Faults& faults) {
    if (set.intfAddrEntry().empty() && set.deprecatedIntfAddrEntry().empty()) {
        faults.add("set empty", "{} of {}", subnet, set.intfId());
    }
    for (auto const* rows : {&set.intfAddrEntry(), &set.deprecatedIntfAddrEntry()}) {
        for (auto const& member : *rows) {
            auto const& row = member.value->content();
            if (!stands(view, member.value) || row.key != member.key || row.subnet != subnet ||
                row.intfId != set.intfId()) {
                faults.add("set without row", "{} of {} has {} of {}", subnet, set.intfId(), row,
                           row.intfId);
            }
        }
    }
}

void findFaultsOfPlace(TableView const& view, Row const& row, Faults& faults) {
    auto const set = view.table.intfAddrEntrySetFromSubnet(row.subnet);
    bool const isOwn = set && set->intfId() == row.intfId;
    bool const isUsable = isOwn && set->intfAddrEntryHas(row.key);
    bool const isDeprecated = isOwn && set->deprecatedIntfAddrEntryHas(row.key);
    auto const published = view.published.find(TableView::source(row));
    bool const mayBeDeprecated = published != view.published.end() && published->second;
    if (isUsable && isDeprecated) {
        faults.add("row twice in set", "{} of {}", row, row.intfId);
    } else if (!isUsable && !isDeprecated && !mayBeDeprecated) {
        faults.add("row in no set", "{} of {}", row, row.intfId);
    } else if (published != view.published.end() && (isUsable || isDeprecated) &&
               isDeprecated != mayBeDeprecated) {
        faults.add("row in wrong collection", "{} of {} is deprecated: {}", row, row.intfId,
                   mayBeDeprecated);
    }
}

}  // namespace

void findFaultsByAddress(TableView const& view, Faults& faults) {
    std::set<IpLib::IntfAddrEntryKey> keys;
    for (auto const& member : view.table.intfAddrEntry()) {
        if (!keys.insert(member.key.key).second) {
            faults.add("two rows of one key", "{}", member.key.key);
        } else if (view.table.intfAddrEntryFromAddr(member.key.key) != member.value) {
            faults.add("row not found by address", "{} of {}", member.key, member.key.intfId);
        }
    }
    for (auto const& member : view.table.intfAddrEntryFromAddr()) {
        if (member.value->key() != member.key || !stands(view, member.value)) {
            faults.add("address without row", "{}", member.key);
        }
    }
}

void findFaultsOfSets(TableView const& view, Faults& faults) {
    for (auto const& member : view.table.intfAddrEntrySetFromSubnet()) {
        findFaultsOfSet(view, member.key, *member.value, faults);
    }
    for (auto const& member : view.table.intfAddrEntry()) {
        if (!member.key.key.virtualIp && !TableView::isLinkLocal(member.key)) {
            findFaultsOfPlace(view, member.key, faults);
        }
    }
}

void findFaultsOfLinkLocals(TableView const& view, Faults& faults) {
    for (auto const& member : view.table.intfAddrEntry()) {
        if (TableView::isLinkLocal(member.key) &&
            view.table.llIntfAddrEntryFromIntfId(member.key.intfId) != member.value) {
            faults.add("link-local row not found", "{} of {}", member.key, member.key.intfId);
        }
    }
    for (auto const& member : view.table.llIntfAddrEntryFromIntfId()) {
        auto const& row = member.value->content();
        if (!stands(view, member.value) || !TableView::isLinkLocal(row) ||
            row.intfId != member.key) {
            faults.add("link-local without row", "{} of {}", row, member.key);
        }
    }
}

}  // namespace Healing
