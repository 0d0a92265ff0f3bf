// A report as one JSON document for programs:
//
//   {"vrfs": [{"name": "default",
//              "addresses": [{"address": "192.0.2.2", "prefixLength": 24, "family": "IPv4",
//                             "interface": "eth0", "subnet": "192.0.2.0/24", "flags": []}],
//              "deferred": [{"address": "192.0.2.3", "prefixLength": 24, "family": "IPv4",
//                            "interface": "eth1", "conflictsWith": "eth0"}]}]}
//
// flags: any of "link-local", "deprecated", "virtual". A virtual address belongs to no interface
// and no subnet: both are null, and its prefix length is that of a host. conflictsWith is null
// where nothing is in the way any more. Bytes of a name that are not UTF-8 are written as U+FFFD.
#pragma once

#include <string>

#include "intfaddr/Report.h"

namespace IntfAddr {

// Ends in a newline.
std::string toJson(Report const& report);
// The same in one line, without its end.
std::string toJsonLine(Report const& report);

}  // namespace IntfAddr
