// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Nimb {

extern Zin::ModuleRegistration const module;

}  // namespace Nimb
