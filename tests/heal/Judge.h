// Says what is wrong with a router that has had all the time that it needs, by what was published
// and what its tables show. It asks neither the published status nor what repairs tables.
#pragma once

#include "Book.h"
#include "Faults.h"

namespace Healing {

// No manager is expected to be stopped, and nothing to have changed for longer than both delays
// and some seconds more.
void judge(Book const& book, Routing::Router& router, IpLib::IntfAddrVrfTableSmConfig const& config,
           Faults& faults);

}  // namespace Healing
