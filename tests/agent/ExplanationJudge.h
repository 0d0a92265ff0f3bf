// Asks an agent why each address is where it is that its kernel holds, and says where the answer is
// not the truth.
#pragma once

#include "KernelRules.h"
#include "heal/Faults.h"
#include "intfaddr/agent/Agent.h"

namespace Simulated {

using Healing::Faults;

// Once nothing waits but behind others, and nothing is on its way from the kernel.
void judgeExplanations(Wanted const& wanted, IntfAddr::Agent& agent, Faults& faults);

}  // namespace Simulated
