// A backlog of the VRF's machine, written in the order of the changes of its table (see
// Zin/ChangeQueue.h): a change that has overtaken others, with which it has nothing else to do,
// writes when those are done. Until then it and the related ones that follow it find what it will
// have written.
//
// The backlog may be taken away: what has been changed is written there all the same, and no other
// change may begin. A new backlog begins with nothing, and needs a new task, for the task that is
// there keeps to the old one.
//
// Owned by the VRF's machine. Where that has no table, nothing may be written here. To ask costs a
// look at each write to come.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
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
            written_ = std::make_shared<Written>(factory_());
            given_ = written_->backlog;
        }
        return given_;
    }
    BacklogPtr take() { return std::move(given_); }

    // The backlog as it is by now, also where it was taken away; null where there never was one.
    Backlog* written() const { return written_ ? written_->backlog.get() : nullptr; }
    // Whether the key will stand there when all is written; it does by now if `stands`.
    bool willStand(Key const& key, bool stands) const {
        auto const found = written_->toCome.find(key);
        return found == written_->toCome.end() ? stands : found->second.stands;
    }
    // Calls `each` with the keys that are to be written, and whether they will stand there.
    template <class Each>
    void forEachToCome(Each&& each) const {
        for (auto const& [key, writes] : written_->toCome) {
            each(key, writes.stands);
        }
    }

    // Calls `write` with the backlog when its turn has come. From now on the key stands there, or
    // does not. Where memory lacks for what has to wait, nothing will be written.
    template <class Write>
    void write(Key const& key, bool stands, Write&& write) {
        auto& changes = table_->changes();
        if (changes.isInOrder()) {
            write(*written_->backlog);
            return;
        }
        auto& toCome = written_->toCome;
        auto const entry = toCome.try_emplace(key).first;
        try {
            changes.inOrder(owner_, [written = written_, entry, write] {
                if (--entry->second.count == 0) {
                    written->toCome.erase(entry);
                }
                write(*written->backlog);
            });
        } catch (...) {
            if (entry->second.count == 0) {
                toCome.erase(entry);
            }
            throw;
        }
        ++entry->second.count;
        entry->second.stands = stands;
    }

private:
    struct Writes {
        std::uint32_t count = 0;
        bool stands = false;
    };
    struct Written {
        explicit Written(BacklogPtr itsBacklog) : backlog(std::move(itsBacklog)) {}

        BacklogPtr const backlog;
        std::map<Key, Writes> toCome{};
    };

    Zin::Entity const& owner_;
    IntfAddrVrfTable* const table_;
    Factory const factory_;
    BacklogPtr given_;
    std::shared_ptr<Written> written_;  // by what has to wait too
};

}  // namespace IpLib::IntfAddrVrfTableImpl
