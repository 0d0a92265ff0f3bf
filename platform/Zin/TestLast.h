// For the tests of containers: a value that calls back when its last owner lets go of it.
#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace Zin {

using Last = std::shared_ptr<void>;

inline Last last(std::function<void()> whenGone) {
    return Last(nullptr, [call = std::move(whenGone)](void*) { call(); });
}

}  // namespace Zin
