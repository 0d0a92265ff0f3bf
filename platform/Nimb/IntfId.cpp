#include "Nimb/IntfId.h"

#include "Nimb/Module.h"
#include "Zin/Module.h"

#include <algorithm>

namespace Nimb {

Zin::ModuleRegistration const module{{.name = "Nimb", .dependsOn = {&Zin::module}}};

IntfId::Raw IntfId::raw() const noexcept {
    Raw raw;
    std::string_view const text = name();
    raw.size_ = static_cast<std::uint8_t>(std::min(text.size(), Raw::maxSize));
    std::copy_n(text.begin(), raw.size_, raw.bytes_.begin());
    if (text.size() > Raw::maxSize) {
        raw.bytes_.back() = '~';
    }
    return raw;
}

}  // namespace Nimb
