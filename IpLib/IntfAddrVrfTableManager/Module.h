// This module's registration with the framework.
#pragma once

#include "Zin/Registry.h"

namespace IpLib {

extern Zin::ModuleRegistration const intfAddrVrfTableManagerModule;

}  // namespace IpLib
