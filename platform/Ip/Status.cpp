#include "Ip/Status.h"

#include "Zin/Registry.h"

namespace Ip {
namespace {

Zin::ModuleRegistration const module{{.name = "Ip", .dependsOn = {"L3", "Nimb", "Zin"}}};

}  // namespace

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip
