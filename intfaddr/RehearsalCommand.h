// The subcommands that ask what would be: each makes a copy of what the agent has, and does there
// what is asked about. Nothing of it reaches the agent.
//
//   why-not ADDR/LEN intf NAME [vrf NAME]   an address, if it were configured now
//   what-if FILE                            the operations of a scenario (WhatIf.h)
//   explain --scenario ADDR [vrf NAME]      a scenario that shows how an address stands
//
// Exit status: 0 admitted, rows that change, a scenario; 1 not admitted, none, nothing; 2 a bad
// question; 3 not known, since something that could hold another answer could not be read.
#pragma once

#include "intfaddr/AskCommand.h"

namespace IntfAddr {

// Each throws BadQuestion, and std::exception for what fails. The words of what-if are the file;
// "-" is the standard input.
int whyNot(AskOptions const& options, Streams const& streams);
int whatIf(AskOptions const& options, Streams const& streams);
int explainByScenario(AskOptions const& options, Streams const& streams);

}  // namespace IntfAddr
