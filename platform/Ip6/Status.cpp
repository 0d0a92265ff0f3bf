#include "Ip6/Status.h"

#include "Zin/Registry.h"

namespace Ip6 {
namespace {

Zin::ModuleRegistration const module{{.name = "Ip6", .dependsOn = {"L3", "Nimb", "Zin"}}};

}  // namespace

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip6
