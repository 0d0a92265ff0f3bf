// One operation of those that make a router's state again.
#pragma once

#include <optional>

#include "Zin/Seconds.h"
#include "router/Operation.h"

namespace Routing {

struct RecordedOperation {
    // When it came, in seconds; nothing where it followed the one before without anything between.
    std::optional<Zin::Seconds> at{};
    Operation operation{};
};

}  // namespace Routing
