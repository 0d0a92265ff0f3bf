#include "L3/VrfName.h"

#include "Zin/Registry.h"

#include <algorithm>

namespace L3 {
namespace {

Zin::ModuleRegistration const module{{.name = "L3", .dependsOn = {"Nimb", "Zin"}}};

}  // namespace

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
