// Hands out the kernel interface directory of each VRF: to the one feed that writes it, and to any
// number of readers, whose uses it counts by the name that they give themselves.
//
// A VRF's directory exists from its first mention, by writer or reader, for as long as the helper;
// no use keeps it and no release removes it. The uses say who reads what.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Interface/DeviceIntfStatusDir.h"
#include "L3/VrfName.h"

namespace Interface {

class KniIntfStatusHelper final : public Zin::Entity {
public:
    // How often `requester` has acquired the VRF's directory and not released it.
    std::uint32_t uses(L3::VrfName const& vrf, std::string_view requester) const;

    // The VRFs that have been mentioned.
    std::vector<L3::VrfName> vrfs() const;

    // For the writer.
    Zin::Ptr<DeviceIntfStatusDir> deviceIntfStatusDir(L3::VrfName const& vrf);

    // For readers. Each call is one use.
    Zin::Ptr<DeviceIntfStatusDir const> acquire(L3::VrfName const& vrf, std::string_view requester);
    // Gives back one use; nothing where the requester has none.
    void release(L3::VrfName const& vrf, std::string_view requester);

private:
    using Use = std::pair<L3::VrfName, std::string>;

    Zin::HashMap2018<L3::VrfName, Zin::Ptr<DeviceIntfStatusDir>> dirs_{Zin::hashSeed() ^
                                                                       0xc2875b31};
    std::map<Use, std::uint32_t> uses_;
};

Zin::Ptr<KniIntfStatusHelper> kniIntfStatusHelperFactory();

}  // namespace Interface
