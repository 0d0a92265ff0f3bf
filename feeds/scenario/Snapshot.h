// The state of the tables and of their machines, as one JSON value that can be compared as text: in
// orders of its own, whatever the order in which things came about.
#pragma once

#include "feeds/scenario/Json.h"
#include "router/Router.h"

namespace Scenario {

// {VRF: {"rows", "byAddr", "subnets", "linkLocal", "deferred", "cleanup"}}
OrderedJson snapshot(Routing::Router const& router);

// One of "rows".
OrderedJson rowJson(IpLib::IntfAddrEntryContent const& content);

// The short text forms of all rows of the table, sorted.
OrderedJson rowTexts(IpLib::IntfAddrVrfTable const& table);

}  // namespace Scenario
