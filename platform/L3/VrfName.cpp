#include "L3/VrfName.h"

#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Zin/Module.h"

namespace L3 {

Zin::ModuleRegistration const module{{.name = "L3", .dependsOn = {&Nimb::module, &Zin::module}}};

Nimb::NamespaceName VrfName::nsName() const {
    return isDefault() ? Nimb::NamespaceName() : Nimb::NamespaceName("ns-" + bytes());
}

}  // namespace L3
