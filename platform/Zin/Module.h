// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Zin {

extern Zin::ModuleRegistration const module;

}  // namespace Zin
