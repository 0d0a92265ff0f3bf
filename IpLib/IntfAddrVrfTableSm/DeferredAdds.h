// The addresses of one VRF that wait to be admitted, and the task that tries them again.
//
// Owned by the VRF's machine.
#pragma once

#include <vector>

#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddSm.h"
#include "IpLib/IntfAddrVrfTableSm/OrderedBacklog.h"
#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"
#include "Zin/Child.h"

namespace IpLib::IntfAddrVrfTableImpl {

class DeferredAdds {
public:
    using Backlog = OrderedBacklog<DeferredIntfAddBacklog, IntfAddrWithMaskKey>;

    DeferredAdds(Zin::Entity const& owner, IntfAddrVrfTable* table)
        : owner_(owner), table_(table), backlog_(owner, table, deferredIntfAddBacklogFactory) {}

    bool has(IntfAddrWithMaskKey const& key) const {
        return backlog_.willStand(key, backlog_.written()->backlogHas(key));
    }
    std::vector<IntfAddrWithMaskKey> keysOf(IntfFamily const& whose) const;

    // Each address that comes to wait is tried once the delay is over, also where no row leaves
    // until then.
    void insert(IntfAddrWithMaskKey const& key);
    // Nothing happens where it does not wait.
    void remove(IntfAddrWithMaskKey const& key);
    // A row has left: what waits gets another try.
    void handleRowLeft();

    Backlog& backlog() { return backlog_; }
    Backlog const& backlog() const { return backlog_; }

    // The machine that tries; null where there is none.
    Zin::Child<DeferredIntfAddSm>& sm() { return sm_; }
    Zin::Child<DeferredIntfAddSm> const& sm() const { return sm_; }

private:
    void tryLater();

    Zin::Entity const& owner_;
    IntfAddrVrfTable* const table_;
    Backlog backlog_;
    Zin::Child<DeferredIntfAddSm> sm_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
