// A backlog of the VRF's machine, written in the order of the changes of its table (see
// Zin/ChangeQueue.h): a change that has overtaken others, with which it has nothing else to do,
// writes when those are done. Until then it and the related ones that follow it find what it will
// have written.
//
// The backlog may be taken away: a change that is being carried out goes on with it, and no other
// may begin. A new backlog needs a new task, for the task that is there keeps to the old one.
//
// Owned by the VRF's machine. Where that has no table, nothing may be asked or written here.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace IpLib::IntfAddrVrfTableImpl {

template <class Backlog, class Key>
class OrderedBacklog {
public:
    using BacklogPtr = Zin::Ptr<Backlog>;

    using Factory = BacklogPtr (*)();

    OrderedBacklog(Zin::Entity const& owner, IntfAddrVrfTable* table, Factory factory)
        : owner_(owner), table_(table), factory_(factory) {}

    // Null where there is none, or it was taken away.
    BacklogPtr const& given() const { return given_; }
    BacklogPtr const& make() {
        if (!given_) {
            given_ = backlog_ = factory_();
        }
        return given_;
    }
    BacklogPtr take() { return std::move(given_); }

    // What has been written by now; null where there never was a backlog.
    BacklogPtr const& written() const { return backlog_; }
    // Whether the key will stand in it when all is written; it does by now if `stands`.
    bool willStand(Key const& key, bool stands) const {
        auto const found = toCome_.find(key);
        return found == toCome_.end() ? stands : found->second.stands;
    }
    // Calls `each` with the keys that will stand in it and do not by now, and those that will not.
    template <class Each>
    void forEachToCome(Each&& each) const {
        for (auto const& [key, writes] : toCome_) {
            each(key, writes.stands);
        }
    }

    // Calls `write` with the backlog when its turn has come. From now on the key stands there, or
    // does not.
    template <class Write>
    void write(Key const& key, bool stands, Write&& write) {
        auto& changes = table_->changes();
        if (changes.isInOrder()) {
            write(*backlog_);
            return;
        }
        Writes& writes = toCome_[key];
        writes.stands = stands;
        ++writes.count;
        changes.inOrder(owner_,
                        [this, key, backlog = backlog_, write = std::forward<Write>(write)] {
                            auto const found = toCome_.find(key);
                            if (--found->second.count == 0) {
                                toCome_.erase(found);
                            }
                            write(*backlog);
                        });
    }

private:
    struct Writes {
        bool stands = false;
        std::uint32_t count = 0;
    };

    Zin::Entity const& owner_;
    IntfAddrVrfTable* const table_;
    Factory const factory_;
    BacklogPtr given_;
    BacklogPtr backlog_;
    std::map<Key, Writes> toCome_;
};

}  // namespace IpLib::IntfAddrVrfTableImpl
