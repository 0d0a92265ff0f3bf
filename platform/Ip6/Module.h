// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Ip6 {

extern Zin::ModuleRegistration const module;

}  // namespace Ip6
