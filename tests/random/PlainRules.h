// What the table of a VRF holds in the end, stated plainly: from the published status alone, with
// no regard to how it came about.
#pragma once

#include <set>
#include <string>

#include "router/Router.h"

namespace RandomStatus {

// One line of text for each row: address, subnet, interface.
std::set<std::string> expectedRows(Routing::Router& router);
// The same of the table; and of each of its indexes, which must not differ from the rows.
std::set<std::string> rows(Routing::Router const& router);
std::set<std::string> indexedRows(Routing::Router const& router);

// The rows that belong into a subnet's set: addresses that are neither link-local nor deprecated.
std::set<std::string> expectedSetRows(Routing::Router& router);
std::set<std::string> setRows(Routing::Router const& router);

// The deprecated addresses, and those of them that a set holds apart: fewer where a set has gone
// with its last preferred address.
std::set<std::string> expectedDeprecatedRows(Routing::Router& router);
std::set<std::string> deprecatedSetRows(Routing::Router const& router);

// The link-local addresses, by interface.
std::set<std::string> expectedLinkLocals(Routing::Router& router);
std::set<std::string> linkLocals(Routing::Router const& router);

}  // namespace RandomStatus
