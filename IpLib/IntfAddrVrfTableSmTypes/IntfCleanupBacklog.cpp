#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"

#include "Velk/Dump.h"
#include "Zin/Errors.h"

namespace IpLib::IntfAddrVrfTableImpl {
void IntfCleanupBacklog::addBacklog(Nimb::IntfId const& intfId, Nimb::AddressFamily af,
                                    Zin::Seconds now) {
    IntfCleanupKey const key{{intfId, af}};
    bool const isNew = !backlogHas(key);
    Entry const entry = backlogIs(key, now);
    try {
        backlogQueueEnq(entry);
    } catch (...) {
        if (isNew) {
            backlogDel(key);
        }
        throw;
    }
}

IntfCleanupBacklog::Entry IntfCleanupBacklog::backlog(IntfCleanupKey const& key) const {
    auto const* const entry = backlog_.find(key);
    return entry ? *entry : nullptr;
}

IntfCleanupBacklog::Entry IntfCleanupBacklog::backlogIs(IntfCleanupKey const& key,
                                                        Zin::Seconds emplacementTime) {
    if (auto const* const entry = backlog_.find(key)) {
        if ((*entry)->emplacementTime() != emplacementTime) {
            throw Zin::ReinstantiationError("backlog");
        }
        return *entry;
    }
    return backlog_.emplace(key, intfCleanupEntryFactory(key, emplacementTime)).value;
}

void IntfCleanupBacklog::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                   std::uint32_t indent) const {
    Velk::dumpLine(context, indent, "backlog has {} items\n", backlog_.size());
    Velk::dumpList(context, indent, backlog_, backlog_.size(), [&](auto const& member) {
        Velk::dumpLine(context, indent, "[ {} ]\n", member.value->toStrep());
    });
    Velk::dumpLine(context, indent, "backlogQueue has {} items\n", queue_.size());
    Velk::dumpList(context, indent, queue_, queue_.size(), [&](auto const& entry) {
        Velk::dumpLine(context, indent, "[ {} ]\n", entry->toStrep());
    });
}

Zin::Ptr<IntfCleanupBacklog> intfCleanupBacklogFactory() { return Zin::make<IntfCleanupBacklog>(); }

}  // namespace IpLib::IntfAddrVrfTableImpl
