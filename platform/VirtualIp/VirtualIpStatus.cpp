#include "VirtualIp/VirtualIpStatus.h"

#include "Zin/Registry.h"

namespace VirtualIp {
namespace {

Zin::ModuleRegistration const module{{.name = "VirtualIp", .dependsOn = {"L3", "Nimb", "Zin"}}};

}  // namespace

Zin::Ptr<VirtualIpStatus> virtualIpStatusFactory() { return Zin::make<VirtualIpStatus>(); }

}  // namespace VirtualIp
