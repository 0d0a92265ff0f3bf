// What an operation that somebody hands over as a value does to a router.
#pragma once

#include "router/Effect.h"
#include "router/Operation.h"
#include "router/Router.h"

namespace Routing {

// The same as calling what the operation is named like (Router.h, Inputs.h): throws OperationError
// where it makes no sense, and hands back its effect. Borrows the router.
Effect effectOf(Router& router, Operation const& operation);

}  // namespace Routing
