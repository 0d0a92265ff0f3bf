// The name of a VRF: the key of everything that is kept per VRF.
//
// Each VRF is one network namespace: the VRF "default" the default namespace, any other one the
// namespace that is called "ns-" and the VRF's name.
#pragma once

#include <string>
#include <string_view>

#include "Nimb/NamespaceName.h"
#include "Zin/String.h"

namespace L3 {

class VrfName : public Zin::StringValue<VrfName> {
public:
    VrfName() = default;
    VrfName(std::string_view name) : StringValue(name) {}
    VrfName(std::string const& name) : StringValue(name) {}
    VrfName(char const* name) : StringValue(name) {}

    // Whether it is "default", the VRF of the default namespace.
    bool isDefault() const { return bytes() == "default"; }

    // The VRF's namespace. Throws RangeError if the name is too long to make the name of one.
    Nimb::NamespaceName nsName() const;
};

}  // namespace L3
