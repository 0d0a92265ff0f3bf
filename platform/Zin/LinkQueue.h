// LinkQueue: first in, first out; walked from front to back.
//
// - A member stands at the same address from its entering to its leaving.
// - Walks (begin()) live through every change, see Zin/Walk.h.
// - A member is out of the queue before it is destroyed, and the queue is whole by then: the
//   destruction may look into the queue, change it or destroy it. It must not throw; a Zin::Ptr
//   does not, whatever fails in the teardown that it sets off (see there).
// - What throws leaves the queue as it was.
//
// Positions are counted from the front, which is 0; getting at one takes steps in proportion.
#pragma once

#include <cstdint>
#include <iterator>
#include <list>
#include <utility>

#include "Zin/Walk.h"

namespace Zin {

template <class T>
class LinkQueue {
public:
    // What a member is, what walks show of it, and the walks.
    using Member = T;
    using Shown = Member&;
    using ShownConst = Member const&;
    using Iterator = Walk<LinkQueue>;
    using ConstIterator = Walk<LinkQueue const>;

    LinkQueue() = default;
    LinkQueue(LinkQueue const&) = delete;
    LinkQueue& operator=(LinkQueue const&) = delete;
    ~LinkQueue() {
        while (!empty()) {  // again if a dying member has entered another
            clear();
        }
    }

    // How many members it has.
    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(list_.size()); }
    bool empty() const noexcept { return list_.empty(); }

    // T() if the queue is empty.
    T front() const { return empty() ? T() : list_.front(); }
    T back() const { return empty() ? T() : list_.back(); }

    // Puts it at the back.
    void enq(T member) { list_.push_back(std::move(member)); }

    // Moves the front out of the queue; T() if the queue is empty.
    T deq() { return take(0); }

    // Moves the member at `index` out of the queue; T() if there is none.
    T take(std::uint32_t index) { return index < size() ? takeAt(at(index)) : T(); }

    // Moves the member that the walk stands on out of the queue; as every other walk that stands
    // there it then is in the gap, and goes on to the member that followed.
    T take(Iterator const& walk) { return takeAt(walk.position()); }

    // Puts `member` in the place of the one at `index`. Whether there is such a place.
    bool replace(std::uint32_t index, T member) {
        if (index >= size()) {
            return false;
        }
        std::swap(memberAt(at(index)), member);
        return true;
    }

    // The queue is empty before the first member goes; members go from front to back.
    void clear() {
        List gone;
        gone.swap(list_);
        walks_.handleAllGone([this](Position const&) { return nowhere(); });
        while (!gone.empty()) {
            gone.pop_front();
        }
    }

    // A walk that starts at the front, and the end of every walk.
    Iterator begin() { return Iterator(*this, list_.begin()); }
    ConstIterator begin() const { return ConstIterator(*this, list_.begin()); }
    Iterator end() { return {}; }
    ConstIterator end() const { return {}; }

private:
    template <class>
    friend class Zin::Walk;

    using List = std::list<T>;
    using Position = typename List::const_iterator;

    // For Walk, which hands out members as const as the queue that it walks.
    Position nowhere() const { return list_.end(); }
    Position after(Position at) const { return at == list_.end() ? list_.begin() : std::next(at); }
    static T& memberAt(Position at) { return const_cast<T&>(*at); }

    Position at(std::uint32_t index) { return std::next(list_.begin(), index); }

    T takeAt(Position at) {
        T taken(std::move(memberAt(at)));
        walks_.handleGone(at, at == list_.begin() ? list_.end() : std::prev(at));
        list_.erase(at);
        return taken;
    }

    List list_;
    mutable Walks<Position> walks_;
};

}  // namespace Zin
