#include "Tables.h"

#include <algorithm>
#include <string_view>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "random/StatusChange.h"

namespace Nested {
namespace {

std::string text(IpLib::IntfAddrEntryContent const& row) {
    return fmt::format("{}/{} {}{}", row.key.addr, row.subnet.prefixLength(), row.intfId,
                       row.key.virtualIp ? "virtual" : "");
}

std::string text(Tables::Reference const& row) {
    return text(row.content) + (row.stands ? "" : " (no row)");
}

std::string text(std::pair<Nimb::IntfId, Tables::Reference> const& member) {
    return fmt::format("{}: {}", member.first, text(member.second));
}

std::string text(IpLib::IntfAddrWithMaskKey const& key) {
    return fmt::format("{} {}", key.addrWithMask, key.intfId);
}

std::string text(Tables::Cleanup const& cleanup) {
    return fmt::format("{} {} since {}", cleanup.key.intfId, cleanup.key.af, cleanup.since);
}

std::string text(Tables::Tasks const& tasks) {
    return fmt::format("clean-up at {}, deferred add at {}{}", tasks.cleanup, tasks.deferredAdd,
                       tasks.anotherFollows ? ", and once more" : "");
}

template <class Item>
std::string text(std::vector<Item> const& items);

std::string text(Tables::Set const& set) {
    return fmt::format("{} {}: {} deprecated: {}", set.subnet, set.intf, text(set.entries),
                       text(set.deprecated));
}

template <class Item>
std::string text(std::vector<Item> const& items) {
    std::string all;
    for (auto const& item : items) {
        all += (all.empty() ? "" : ", ") + text(item);
    }
    return "[" + all + "]";
}

template <class Items>
std::string difference(std::string_view name, Items const& within, Items const& after) {
    if (within == after) {
        return "";
    }
    return fmt::format("{}\n  within: {}\n  after:  {}\n", name, text(within), text(after));
}

Zin::Seconds expiryOf(Zin::Ptr<Velk::TimerTask> const& task) {
    return task->taskScheduled() ? task->currentExpirationTime() : Velk::never;
}

}  // namespace

Tables tablesOf(Routing::Router const& router) {
    Tables tables;
    auto const table = router.table(RandomStatus::vrf);
    auto const reference = [&](IpLib::IntfAddrVrfTable::RowPtr const& row) {
        return Tables::Reference{row->content(), table->intfAddrEntry(row->content()) == row};
    };
    for (auto const& member : table->intfAddrEntry()) {
        tables.rows.push_back(member.key);
    }
    for (auto const& member : table->intfAddrEntryFromAddr()) {
        tables.byAddr.push_back(reference(member.value));
    }
    for (auto const& member : table->intfAddrEntrySetFromSubnet()) {
        auto& set =
            tables.sets.emplace_back(Tables::Set{member.key, member.value->intfId(), {}, {}});
        for (auto const& row : member.value->intfAddrEntry()) {
            set.entries.push_back(reference(row.value));
        }
        for (auto const& row : member.value->deprecatedIntfAddrEntry()) {
            set.deprecated.push_back(reference(row.value));
        }
    }
    for (auto const& member : table->llIntfAddrEntryFromIntfId()) {
        tables.linkLocal.emplace_back(member.key, reference(member.value));
    }
    std::ranges::sort(tables.rows);
    std::ranges::sort(tables.byAddr);
    std::ranges::sort(tables.sets);
    std::ranges::sort(tables.linkLocal);

    if (auto const sm = router.tableSm(RandomStatus::vrf)) {
        for (auto const& member : sm->deferredIntfAddBacklog()->backlog()) {
            tables.deferred.push_back(member.key);
        }
        if (auto const& backlog = sm->intfCleanupBacklog()) {
            for (auto const& entry : backlog->backlogQueue()) {
                if (!entry->processed()) {
                    tables.cleanups.push_back({entry->key(), entry->emplacementTime()});
                }
            }
            tables.tasks.cleanup = expiryOf(sm->intfCleanupSm()->task());
        }
        tables.tasks.deferredAdd = expiryOf(sm->deferredIntfAddSm()->task());
        tables.tasks.anotherFollows = sm->deferredIntfAddSm()->rescheduleWhenComplete();
    }
    return tables;
}

std::vector<std::string> rowTexts(Tables const& tables) {
    std::vector<std::string> texts;
    for (auto const& row : tables.rows) {
        texts.push_back(text(row));
    }
    return texts;
}

Tables tableWithout(Tables tables, Nimb::IntfId const& intf) {
    tables.deferred.clear();
    tables.cleanups.clear();
    tables.tasks = {};
    std::erase_if(tables.rows, [&](auto const& row) { return row.intfId == intf; });
    std::erase_if(tables.byAddr, [&](auto const& row) { return row.content.intfId == intf; });
    std::erase_if(tables.sets, [&](auto const& set) { return set.intf == intf; });
    std::erase_if(tables.linkLocal, [&](auto const& member) { return member.first == intf; });
    return tables;
}

std::string difference(Tables const& within, Tables const& after) {
    return difference("rows", within.rows, after.rows) +
           difference("by address", within.byAddr, after.byAddr) +
           difference("sets", within.sets, after.sets) +
           difference("link-local", within.linkLocal, after.linkLocal) +
           difference("deferred", within.deferred, after.deferred) +
           difference("clean-ups", within.cleanups, after.cleanups) +
           difference("tasks", within.tasks, after.tasks);
}

}  // namespace Nested
