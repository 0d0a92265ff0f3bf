// What an operation does, once it has been found to make sense.
//
// An operation checks when it is called, and throws OperationError where it makes no sense. What it
// hands back does the rest: nothing has changed before that is applied. Whoever times operations
// lets the time pass in between, so that one that is refused has not even cost time; everybody else
// applies it at once. What the operation belongs to outlives the effect.
//
// An effect goes by what the check found. Tasks that run in between write tables alone, so only an
// observer of theirs can make it late: then what has come meanwhile is replaced, what has gone
// stays gone, and a status that is published no more is written unseen.
#pragma once

#include <concepts>
#include <functional>
#include <utility>

namespace Routing {

class [[nodiscard]] Effect {
public:
    // Of anything that can be called, and that does the whole effect.
    template <std::invocable F>
    Effect(F apply) : apply_(std::move(apply)) {}

    // Does it. What the library throws passes (OperationError.h): the operation has been applied.
    void apply() const { apply_(); }

private:
    std::function<void()> apply_;
};

}  // namespace Routing
