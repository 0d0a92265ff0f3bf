#include "Ip6/Status.h"

#include "Ip6/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Zin/Module.h"

namespace Ip6 {

Zin::ModuleRegistration const module{
    {.name = "Ip6", .dependsOn = {&L3::module, &Nimb::module, &Zin::module}}};

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip6
