#include "L3/VrfName.h"

#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Zin/Module.h"

#include <algorithm>

namespace L3 {

Zin::ModuleRegistration const module{{.name = "L3", .dependsOn = {&Nimb::module, &Zin::module}}};

Nimb::NamespaceName VrfName::nsName() const {
    return isDefault() ? Nimb::NamespaceName() : Nimb::NamespaceName("ns-" + bytes());
}

VrfName::Raw VrfName::raw() const noexcept {
    Raw raw;
    raw.size_ = static_cast<std::uint8_t>(std::min(bytes().size(), Raw::capacity));
    std::copy_n(bytes().begin(), raw.size_, raw.bytes_.begin());
    if (bytes().size() > Raw::capacity) {
        raw.bytes_.back() = '~';
    }
    return raw;
}

}  // namespace L3
