// The addresses of one VRF that wait to be admitted, and the task that tries them again.
//
// Owned by the VRF's machine. The backlog may be taken away: a change that is being carried out
// goes on with it, and no other may begin. A new backlog needs a new task.
#pragma once

#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "Zin/Child.h"

namespace IpLib::IntfAddrVrfTableImpl {

class DeferredAdds {
public:
    bool has(IntfAddrWithMaskKey const& key) const { return backlog_->backlogHas(key); }
    std::vector<IntfAddrWithMaskKey> keysOf(IntfFamily const& whose) const {
        return backlog_->backlogKeysOf(whose);
    }

    // Each address that comes to wait is tried once the delay is over, also where no row leaves
    // until then.
    void insert(IntfAddrWithMaskKey const& key) {
        backlog_->backlogIs(key);
        tryLater();
    }
    void remove(IntfAddrWithMaskKey const& key) { backlog_->backlogDel(key); }
    // What waits gets another try.
    void tryLater() {
        if (auto const& task = sm_()) {
            task->maybeScheduleTask();
        }
    }

    // Null where it was taken away.
    Zin::Ptr<DeferredIntfAddBacklog> const& backlog() const { return given_; }
    Zin::Ptr<DeferredIntfAddBacklog> const& makeBacklog() {
        if (!given_) {
            given_ = backlog_ = deferredIntfAddBacklogFactory();
        }
        return given_;
    }
    Zin::Ptr<DeferredIntfAddBacklog> takeBacklog() { return std::move(given_); }

    // The machine that tries; null where there is none.
    Zin::Child<DeferredIntfAddSm>& sm() { return sm_; }
    Zin::Child<DeferredIntfAddSm> const& sm() const { return sm_; }

private:
    Zin::Ptr<DeferredIntfAddBacklog> given_;
    Zin::Ptr<DeferredIntfAddBacklog> backlog_;
    Zin::Child<DeferredIntfAddSm> sm_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
