// The command line of intfaddr.
//
//   intfaddr show [ADDRESS] [--vrf NAME] [--json]
//
// Exit status: 0; 1 if nothing owns ADDRESS; 2 for a command line that makes no sense, with a
// message that says why; 70 if something went wrong that should not.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace IntfAddr {

// `args` are those behind the program's name. Answers go to `out`, warnings and errors to `err`.
int runCommand(std::vector<std::string> const& args, std::ostream& out, std::ostream& err);

}  // namespace IntfAddr
