// The command line of intfaddr.
//
//   intfaddr COMMAND [WORD]... [--OPTION]...
//
// Exit status: 0; 2 for a command line that makes no sense, with a message that says why; 70 if
// something went wrong that should not. Of commands that ask see AskCommand.h. replay: 1 if an
// expectation of the file failed, 2 if something is wrong with the file, 3 if an invariant failed.
#pragma once

#include <string>
#include <vector>

#include "intfaddr/Streams.h"

namespace IntfAddr {

// `args` are those behind the program's name.
int runCommand(std::vector<std::string> const& args, Streams const& streams);

}  // namespace IntfAddr
