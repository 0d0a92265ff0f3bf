// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Pell {

extern Zin::ModuleRegistration const module;

}  // namespace Pell
