// The clean-ups of one VRF that are still to be carried out: by key, and in the order in which they
// were requested.
//
// Invariant: every entry of `backlog` is in `backlogQueue`; an entry of the queue that `backlog`
// does not hold was carried out early and is `processed`. Times never decrease from front to back.
#pragma once

#include <cstdint>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupEntry.h"
#include "Velk/DumpContext.h"
#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"
#include "Zin/LinkQueue.h"

namespace IpLib::IntfAddrVrfTableImpl {

class IntfCleanupBacklog final : public Zin::Entity {
public:
    using Entry = Zin::Ptr<IntfCleanupEntry>;
    using Backlog = Zin::HashMap2018<IntfCleanupKey, Entry>;
    using Queue = Zin::LinkQueue<Entry>;

    // Requests the clean-up at time `now`. There must be no request for the key. What throws
    // (memory) changes neither collection.
    void addBacklog(Nimb::IntfId const& intfId, Nimb::AddressFamily af, Zin::Seconds now);
    bool hasBacklog(Nimb::IntfId const& intfId, Nimb::AddressFamily af) const {
        return backlogHas({{intfId, af}});
    }
    Entry getBacklog(Nimb::IntfId const& intfId, Nimb::AddressFamily af) const {
        return backlog({{intfId, af}});
    }
    Entry removeBacklog(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
        return backlogDel({{intfId, af}});
    }

    Backlog const& backlog() const { return backlog_; }
    // Null if there is none.
    Entry backlog(IntfCleanupKey const& key) const;
    bool backlogHas(IntfCleanupKey const& key) const { return backlog_.contains(key); }
    // The entry of that key and time, a new one if the key has none. Throws
    // Zin::ReinstantiationError if it has one of another time.
    Entry backlogIs(IntfCleanupKey const& key, Zin::Seconds emplacementTime);
    // Returns the entry that was removed, or null. The queue keeps it.
    Entry backlogDel(IntfCleanupKey const& key) { return backlog_.take(key); }
    void backlogDelAll() { backlog_.clear(); }

    // Null where the queue is empty.
    Queue const& backlogQueue() const { return queue_; }
    Entry backlogQueueFront() const { return queue_.front(); }
    Entry backlogQueueBack() const { return queue_.back(); }
    void backlogQueueEnq(Entry entry) { queue_.enq(std::move(entry)); }
    Entry backlogQueueDeq() { return queue_.deq(); }
    // Positions are counted from the front, which is 0; one that does not exist changes nothing.
    void backlogQueueIs(std::uint32_t index, Entry entry) {
        queue_.replace(index, std::move(entry));
    }
    Entry backlogQueueDel(std::uint32_t index) { return queue_.take(index); }
    Queue::Iterator backlogQueueBegin() { return queue_.begin(); }
    Entry backlogQueueDel(Queue::Iterator const& at) { return queue_.take(at); }
    void backlogQueueDelAll() { queue_.clear(); }

    void dumpState(Zin::Ptr<Velk::DumpContext const> const& context, std::uint32_t indent) const;

private:
    Backlog backlog_{Zin::hashSeed() ^ 0xa5c71a2e};
    Queue queue_;
};

Zin::Ptr<IntfCleanupBacklog> intfCleanupBacklogFactory();

}  // namespace IpLib::IntfAddrVrfTableImpl
