#include "IpLib/IntfAddrVrfTableSm/DeferredAdds.h"

#include <algorithm>

namespace IpLib::IntfAddrVrfTableImpl {

std::vector<IntfAddrWithMaskKey> DeferredAdds::keysOf(IntfFamily const& whose) const {
    auto keys = backlog_.written()->backlogKeysOf(whose);
    backlog_.forEachToCome([&](IntfAddrWithMaskKey const& key, bool stands) {
        if (key.intfId != whose.intfId || key.addrWithMask.family() != whose.af) {
            return;
        }
        std::erase(keys, key);
        if (stands) {
            keys.push_back(key);
        }
    });
    return keys;
}

void DeferredAdds::insert(IntfAddrWithMaskKey const& key) {
    backlog_.write(key, true, [this, key](DeferredIntfAddBacklog& backlog) {
        backlog.backlogIs(key);
        tryLater();
    });
}

void DeferredAdds::remove(IntfAddrWithMaskKey const& key) {
    if (has(key)) {
        backlog_.write(key, false,
                       [key](DeferredIntfAddBacklog& backlog) { backlog.backlogDel(key); });
    }
}

// When the next try is depends on what waits by then, and on what has asked for one before.
void DeferredAdds::handleRowLeft() {
    table_->changes().inOrder(owner_, [this] { tryLater(); });
}

void DeferredAdds::tryLater() {
    if (auto const& task = sm_()) {
        task->maybeScheduleTask();
    }
}

}  // namespace IpLib::IntfAddrVrfTableImpl
