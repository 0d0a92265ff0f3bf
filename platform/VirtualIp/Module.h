// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace VirtualIp {

extern Zin::ModuleRegistration const module;

}  // namespace VirtualIp
