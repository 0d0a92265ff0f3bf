// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace Tremlog {

extern Zin::ModuleRegistration const module;

}  // namespace Tremlog
