// The armed tasks of a scheduler, the one that runs first in front: by expiry, then by arming. A
// binary heap in which each task knows its place, so that one that is disarmed is found at once.
//
// A Task has a member `queuePlace_`, 0 at first, which is this queue's: the place that it has
// there, counted from 1; 0 where it is not in the queue. It takes itself out before it goes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Zin/Seconds.h"

namespace Velk {

template <class Task>
class TaskQueue {
public:
    // When a task is to run. Of one time, who was armed first goes first.
    struct Entry {
        Zin::Seconds expiry;   // on the scheduler's clock
        std::uint64_t arming;  // later ones are greater
        Task* task;            // borrowed
    };

    // Whether nothing is armed.
    bool empty() const { return entries_.empty(); }
    // There must be one.
    Entry const& first() const { return entries_.front(); }

    // Puts the task there, also where it is already. What throws (memory) changes nothing.
    void put(Entry const& entry) {
        if (entry.task->queuePlace_ != 0) {
            settle(entry.task->queuePlace_ - 1, entry);
            return;
        }
        entries_.push_back(entry);
        settle(entries_.size() - 1, entry);
    }
    // Takes the task out, which is there.
    void remove(Task& task) {
        std::size_t const at = std::exchange(task.queuePlace_, 0) - 1;
        Entry const last = entries_.back();
        entries_.pop_back();
        if (at < entries_.size()) {
            settle(at, last);
        }
    }

private:
    static bool runsBefore(Entry const& a, Entry const& b) {
        return a.expiry != b.expiry ? a.expiry < b.expiry : a.arming < b.arming;
    }
    void putAt(std::size_t at, Entry const& entry) {
        entries_[at] = entry;
        entry.task->queuePlace_ = static_cast<std::uint32_t>(at + 1);
    }
    // Puts the entry where it belongs, from `at` on, where there is nothing.
    void settle(std::size_t at, Entry const& entry) {
        Entry const settled = entry;
        for (; at > 0 && runsBefore(settled, entries_[(at - 1) / 2]); at = (at - 1) / 2) {
            putAt(at, entries_[(at - 1) / 2]);
        }
        for (std::size_t next = 2 * at + 1; next < entries_.size(); next = 2 * at + 1) {
            if (next + 1 < entries_.size() && runsBefore(entries_[next + 1], entries_[next])) {
                ++next;
            }
            if (!runsBefore(entries_[next], settled)) {
                break;
            }
            putAt(at, entries_[next]);
            at = next;
        }
        putAt(at, settled);
    }

    std::vector<Entry> entries_;
};

}  // namespace Velk
