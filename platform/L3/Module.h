// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace L3 {

extern Zin::ModuleRegistration const module;

}  // namespace L3
