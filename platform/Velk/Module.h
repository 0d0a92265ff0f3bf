// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Velk {

extern Zin::ModuleRegistration const module;

}  // namespace Velk
