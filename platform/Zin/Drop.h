// Letting go of a value whose destruction may call anybody and may throw.
#pragma once

#include <type_traits>
#include <utility>

#include "Zin/Turn.h"

namespace Zin {

// Ends the life of what `value` holds, in a turn: throws what that throws, unless a turn is in
// progress around it. Collections call it last, when the value is no longer in them. Moving a value
// must not throw.
template <class Value>
void drop(Value&& value) noexcept(std::is_nothrow_destructible_v<Value>) {
    static_assert(std::is_rvalue_reference_v<Value&&>);
    if constexpr (!std::is_nothrow_destructible_v<Value>) {
        Turn turn;
        turn.run([&value] { [[maybe_unused]] Value const last(std::move(value)); });
    } else {
        [[maybe_unused]] Value const last(std::move(value));
    }
}

}  // namespace Zin
