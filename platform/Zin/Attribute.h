// A single-valued attribute of an entity, told to its observers when it changes.
//
//     Zin::Attribute<&Notifiee::handlePrimaryAddr, Nimb::IpAddrWithMask> primaryAddr_{*this};
#pragma once

#include <utility>

#include "Zin/Notifiee.h"
#include "Zin/Turn.h"

namespace Zin {

// The observer interface and the entity type that a handler such as &IntfStatus::Notifiee::handleX
// belongs to. Internal.
template <class Handler>
struct HandlerOf;
template <class Observer_, class... Params>
struct HandlerOf<void (Observer_::*)(Params...)> {
    using Observer = Observer_;
    using Owner = typename Observer_::Notifier;
};

template <auto Handler, class T>
class Attribute {
    using Owner = typename HandlerOf<decltype(Handler)>::Owner;

public:
    explicit Attribute(Owner& owner, T value = T()) : owner_(owner), value_(std::move(value)) {}

    // The present value; by reference, so it is another one after is().
    T const& operator()() const noexcept { return value_; }

    // Tells the observers if the value is another one. A turn; the old value goes last of all.
    void is(T value) {
        if (value_ == value) {
            return;
        }
        Turn const turn;
        [[maybe_unused]] T const former = std::exchange(value_, std::move(value));
        owner_.notifieeList().notify(owner_, Handler);
    }

private:
    Owner& owner_;
    T value_;
};

}  // namespace Zin
