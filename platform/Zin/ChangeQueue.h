// Keeps changes apart that come from within one another: whoever is told of one change may ask for
// the next before the first is done.
//
// Invariant: changes that are related are carried out whole, one after the other, in the order in
// which they were made. A change is carried out at once unless it is related to one that is being
// carried out or that waits; then it waits, and is carried out when a change ends and nothing that
// it is related to stands before it, at the latest when the outermost call returns.
//
// A change is a callable. It says by its scope what it reads and writes, and brings along the facts
// of the moment at which it was made: by the time of its turn the world may have moved on.
// `Related` tells of two scopes whether their order matters (a symmetric question). The answer may
// change with what is written, if only changes that are related to both can change it.
//
//     queue.submit(owner, scope, [record] { table.insert(record); });
//
// `owner` is whoever carries the change out: it stays in memory until that is done. What a change
// throws keeps no other from being carried out; it is thrown at the end of the turn.
//
// A change that has to wait takes memory. Where that lacks, submit() and inOrder() throw: that
// change, or what is left of it, is never carried out; the others are.
//
// Changes that are carried out within one another take stack as their makers do. Making one costs a
// look at each that is being carried out or waits: nothing where none is. So n changes that have
// nothing to do with n others, which wait, cost n * n looks: about 2 s for 16,000 of each.
#pragma once

#include <cstdint>
#include <iterator>
#include <list>
#include <type_traits>
#include <utility>

#include "Zin/Ptr.h"
#include "Zin/Step.h"
#include "Zin/Turn.h"

namespace Zin {

template <class Scope, class Related>
class ChangeQueue {
public:
    explicit ChangeQueue(Related related = {}) : related_(std::move(related)) {}
    ChangeQueue(ChangeQueue const&) = delete;
    ChangeQueue& operator=(ChangeQueue const&) = delete;

    // Carries `change` out, now or in its turn. `change` keeps copies of what it needs, or `Kept`
    // does, which is made of it where it has to wait.
    template <class Kept = void, class Change>
    void submit(Entity const& owner, Scope const& scope, Change&& change) {
        std::uint64_t const number = ++made_;
        if (isFree(scope, waiting_.end())) {
            Ptr<Entity const> const alive(&owner);
            Turn turn;
            carryOut(turn, &scope, number, change);
            carryOutWaiting(turn, number);
        } else {
            if constexpr (std::is_void_v<Kept>) {
                waiting_.emplace_back(number, owner, scope, std::forward<Change>(change));
            } else {
                waiting_.emplace_back(number, owner, scope, Kept(change));
            }
        }
    }

    // Runs `step`, which records what has happened; the changes that it submits are carried out in
    // their order at its end.
    template <class Callable>
    void recordFirst(Callable&& step) {
        std::uint64_t const number = ++made_;
        Turn turn;
        carryOut(turn, nullptr, number, step);
        carryOutWaiting(turn, number);
    }

    // A part of the change that is being carried out, with a scope of its own that the change's
    // does not tell.
    template <class Callable>
    void within(Scope const& scope, Callable&& step) {
        Turn turn;
        carryOut(turn, &scope, running_ ? running_->number : made_, step);
    }

    // For a change in its turn that writes what is kept in the order of all changes, also of those
    // that are unrelated: whether every older change is done, and what it has put off itself.
    bool isInOrder() const { return isDue(running_ ? running_->number : made_); }
    // Does `step`, which makes no change, when they are, at the latest when the outermost call
    // returns. `owner` stays in memory until that is done.
    template <class Callable>
    void inOrder(Entity const& owner, Callable&& step) {
        std::uint64_t const number = running_ ? running_->number : made_;
        if (isDue(number)) {
            step();
            return;
        }
        auto next = steps_.end();
        while (next != steps_.begin() && std::prev(next)->number > number) {
            --next;
        }
        steps_.insert(next, {number, Ptr<Entity const>(&owner), std::forward<Callable>(step)});
    }

private:
    struct Running {
        Scope const* scope;  // null: related to everything
        std::uint64_t number;
        Running const* outer;
    };
    struct Waiting {
        Waiting(std::uint64_t itsNumber, Entity const& owner, Scope const& itsScope, Step itsChange)
            : number(itsNumber), alive(&owner), scope(itsScope), change(std::move(itsChange)) {}

        std::uint64_t number;
        Ptr<Entity const> alive;
        Scope scope;
        Step change;
    };
    struct LaterStep {
        std::uint64_t number;
        Ptr<Entity const> alive;
        Step step;
    };
    using List = std::list<Waiting>;
    using Position = typename List::const_iterator;

    // Whether nothing that is being carried out, or that waits before `position`, is related.
    bool isFree(Scope const& scope, Position position) const {
        for (Running const* running = running_; running; running = running->outer) {
            if (!running->scope || related_(*running->scope, scope)) {
                return false;
            }
        }
        for (auto waiting = waiting_.begin(); waiting != position; ++waiting) {
            if (related_(waiting->scope, scope)) {
                return false;
            }
        }
        return true;
    }

    // Whether every change that is older than this one is done.
    bool isOldest(std::uint64_t number) const {
        Running const* outermost = running_;
        while (outermost && outermost->outer) {
            outermost = outermost->outer;
        }
        return !(outermost && outermost->number < number) &&
               !(!waiting_.empty() && waiting_.front().number < number);
    }
    // And every step that it or an older one has put off.
    bool isDue(std::uint64_t number) const {
        return isOldest(number) && !(!steps_.empty() && steps_.front().number <= number);
    }

    template <class Callable>
    void carryOut(Turn& turn, Scope const* scope, std::uint64_t number, Callable&& step) {
        Running const running{scope, number, running_};
        running_ = &running;
        turn.run(step);
        running_ = running.outer;
    }

    // Carries out what waited for the change `number` alone. Where that was made within another
    // one, what is older than it waits for others.
    void carryOutWaiting(Turn& turn, std::uint64_t number) {
        doLaterSteps(turn);
        auto next = firstFrom(number);
        while (next != waiting_.end()) {
            if (!isFree(next->scope, next)) {
                ++next;
                continue;
            }
            {
                List taken;
                taken.splice(taken.begin(), waiting_, next);
                Waiting& waiting = taken.front();
                carryOut(turn, &waiting.scope, waiting.number, waiting.change);
                // Its owner may go with it, whose teardown carries out what waits too.
            }
            doLaterSteps(turn);
            next = firstFrom(number);
        }
    }

    void doLaterSteps(Turn& turn) {
        while (!steps_.empty() && isOldest(steps_.front().number)) {
            std::list<LaterStep> taken;
            taken.splice(taken.begin(), steps_, steps_.begin());
            turn.run(taken.front().step);
        }
    }

    // The first that is to be carried out at the end of the change `number`: all have come to it
    // where that was the outermost one, else those that are not older, of which there are few.
    typename List::iterator firstFrom(std::uint64_t number) {
        if (!running_) {
            return waiting_.begin();
        }
        auto next = waiting_.end();
        while (next != waiting_.begin() && std::prev(next)->number >= number) {
            --next;
        }
        return next;
    }

    Related related_;
    std::uint64_t made_ = 0;
    Running const* running_ = nullptr;
    // Oldest first.
    List waiting_;
    std::list<LaterStep> steps_;
};

}  // namespace Zin
