// A random scenario that looks for trouble: few interfaces and addresses, much that conflicts, and
// times at and around the delays and full seconds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Operation.h"

namespace Healing {

struct RandomScenario {
    std::string profile{};  // how it goes about
    Scenario::Config config{};
    std::vector<Operation> operations{};
};

// Which profiles to take: all, or those alone that make no invariant fail.
enum class Manners { any, gentle };

// The scenario `number` of a seed: always the same. Each of its operations makes sense.
RandomScenario randomScenario(std::uint64_t seed, std::uint64_t number,
                              Manners manners = Manners::any);

}  // namespace Healing
