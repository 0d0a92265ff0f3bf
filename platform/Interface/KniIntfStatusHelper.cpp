#include "Interface/KniIntfStatusHelper.h"

#include "Interface/Module.h"
#include "L3/Module.h"
#include "Nimb/Module.h"
#include "Zin/Module.h"

namespace Interface {

Zin::ModuleRegistration const module{
    {.name = "Interface", .dependsOn = {&L3::module, &Nimb::module, &Zin::module}}};

std::uint32_t KniIntfStatusHelper::uses(L3::VrfName const& vrf, std::string_view requester) const {
    auto const use = uses_.find(Use(vrf, requester));
    return use == uses_.end() ? 0 : use->second;
}

std::vector<L3::VrfName> KniIntfStatusHelper::vrfs() const {
    std::vector<L3::VrfName> names;
    for (auto const& member : dirs_) {
        names.push_back(member.key);
    }
    return names;
}

Zin::Ptr<DeviceIntfStatusDir> KniIntfStatusHelper::deviceIntfStatusDir(L3::VrfName const& vrf) {
    if (!dirs_.contains(vrf)) {
        dirs_.emplace(vrf, deviceIntfStatusDirFactory());
    }
    return *dirs_.find(vrf);
}

Zin::Ptr<DeviceIntfStatusDir const> KniIntfStatusHelper::acquire(L3::VrfName const& vrf,
                                                                 std::string_view requester) {
    ++uses_[Use(vrf, requester)];
    return deviceIntfStatusDir(vrf);
}

void KniIntfStatusHelper::release(L3::VrfName const& vrf, std::string_view requester) {
    auto const use = uses_.find(Use(vrf, requester));
    if (use != uses_.end() && --use->second == 0) {
        uses_.erase(use);
    }
}

Zin::Ptr<KniIntfStatusHelper> kniIntfStatusHelperFactory() {
    return Zin::make<KniIntfStatusHelper>();
}

}  // namespace Interface
