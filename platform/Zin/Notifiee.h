// Who is told of an entity's changes, and how.
//
// An entity type N that others may observe has a class N::Notifiee, derived from NotifieeOf<N>,
// with one virtual method for each attribute (doing nothing by default), and a NotifieeList of
// them. A notifiee watches one entity at a time (its notifier), which it keeps alive.
//
// Telling: each change visits the list once, in the order of registration, inside one turn.
// Meanwhile notifiees may be added (they hear of later changes only), removed or destroyed, and the
// entity's last pointer may go away: it lives until the visit ends. A change made by a handler is
// told in full before the handler goes on.
#pragma once

#include <cstdint>
#include <utility>

#include "Zin/Ptr.h"
#include "Zin/Turn.h"

namespace Zin {

class NotifieeListBase;

// What notifiees have in common, whatever they watch.
class NotifieeBase {
public:
    NotifieeBase(NotifieeBase const&) = delete;
    NotifieeBase& operator=(NotifieeBase const&) = delete;
    virtual ~NotifieeBase();

    // A muted notifiee stays on its list and misses what happens.
    bool hasNotificationActive() const noexcept { return active_; }
    void hasNotificationActiveIs(bool active) noexcept { active_ = active; }

protected:
    NotifieeBase() = default;
    void listIs(NotifieeListBase* list) noexcept;

private:
    friend class NotifieeListBase;

    NotifieeListBase* list_ = nullptr;
    NotifieeBase* previous_ = nullptr;
    NotifieeBase* next_ = nullptr;
    std::uint64_t order_ = 0;  // by registration; a delivery stops before those who came later
    bool active_ = true;
};

// What their lists have in common. One that is destroyed leaves its notifiees on no list.
class NotifieeListBase {
public:
    NotifieeListBase() = default;
    NotifieeListBase(NotifieeListBase const&) = delete;
    NotifieeListBase& operator=(NotifieeListBase const&) = delete;
    ~NotifieeListBase();

    // Whether nobody observes.
    bool empty() const noexcept { return first_ == nullptr; }

protected:
    // One visit of the list. Visits nest; each knows whom it goes to next, and a notifiee that
    // leaves the list steps out of their way.
    class Delivery {
    public:
        explicit Delivery(NotifieeListBase& list) noexcept;
        ~Delivery() { list_.innermost_ = outer_; }
        Delivery(Delivery const&) = delete;
        Delivery& operator=(Delivery const&) = delete;
        // The next one that is not muted; null where there is none.
        NotifieeBase* next() noexcept {
            while (next_ && next_->order_ <= registered_) {
                NotifieeBase* const notifiee = std::exchange(next_, next_->next_);
                if (notifiee->hasNotificationActive()) {
                    return notifiee;
                }
            }
            return nullptr;
        }

    private:
        friend class NotifieeListBase;
        NotifieeListBase& list_;
        Delivery* const outer_;
        NotifieeBase* next_;
        std::uint64_t const registered_;
    };

private:
    friend class NotifieeBase;
    void add(NotifieeBase& notifiee) noexcept;
    void remove(NotifieeBase& notifiee) noexcept;

    NotifieeBase* first_ = nullptr;
    NotifieeBase* last_ = nullptr;
    Delivery* innermost_ = nullptr;
    std::uint64_t registered_ = 0;
};

// An entity's observers; the entity's member, which it shows as notifieeList().
template <class Observer>
class NotifieeList : public NotifieeListBase {
public:
    // Calls `handler` of every notifiee. `owner` is the entity that has this list.
    template <class... Params, class... Args>
    void notify(Entity const& owner, void (Observer::*handler)(Params...), Args const&... args) {
        if (empty() || !owner.hasNotificationActive()) {
            return;
        }
        Turn turn;
        Ptr<Entity const> const alive(&owner);
        Delivery delivery(*this);
        while (NotifieeBase* const notifiee = delivery.next()) {
            turn.run([&] { (static_cast<Observer*>(notifiee)->*handler)(args...); });
        }
    }
};

// What N::Notifiee derives from.
template <class N>
class NotifieeOf : public NotifieeBase {
public:
    // The type of entity that it watches.
    using Notifier = N;

    NotifieeOf() = default;

    Ptr<N const> const& notifier() const noexcept { return notifier_; }
    // Watches `notifier` from now on, or nothing where it is null.
    void notifierIs(Ptr<N const> notifier) {
        listIs(nullptr);
        std::swap(notifier_, notifier);
        if (notifier_) {
            listIs(&notifier_->notifieeList());
        }
    }
    // Off the list before the notifier, and the list with it, may go.
    ~NotifieeOf() override { listIs(nullptr); }

private:
    Ptr<N const> notifier_;
};

}  // namespace Zin
