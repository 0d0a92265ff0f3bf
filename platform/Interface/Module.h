// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Interface {

extern Zin::ModuleRegistration const module;

}  // namespace Interface
