#include "Ip/Status.h"

#include "Ip/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Zin/Module.h"

namespace Ip {

Zin::ModuleRegistration const module{
    {.name = "Ip", .dependsOn = {&L3::module, &Nimb::module, &Zin::module}}};

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip
