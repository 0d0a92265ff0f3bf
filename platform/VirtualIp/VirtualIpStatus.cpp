#include "VirtualIp/VirtualIpStatus.h"

#include "L3/Module.h"
#include "Nimb/Module.h"
#include "VirtualIp/Module.h"
#include "Zin/Module.h"

namespace VirtualIp {

Zin::ModuleRegistration const module{
    {.name = "VirtualIp", .dependsOn = {&L3::module, &Nimb::module, &Zin::module}}};

Zin::Ptr<VirtualIpStatus> virtualIpStatusFactory() { return Zin::make<VirtualIpStatus>(); }

}  // namespace VirtualIp
