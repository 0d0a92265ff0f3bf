// The name of a VRF: the key of everything that is kept per VRF.
//
// Each VRF is one network namespace: the VRF "default" the default namespace, any other one the
// namespace that is called "ns-" and the VRF's name.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Nimb/NamespaceName.h"
#include "Zin/String.h"

namespace L3 {

class VrfName : public Zin::StringValue<VrfName> {
public:
    class Raw;

    VrfName() = default;
    VrfName(std::string_view name) : StringValue(name) {}
    VrfName(std::string const& name) : StringValue(name) {}
    VrfName(char const* name) : StringValue(name) {}

    bool isDefault() const { return bytes() == "default"; }

    // The VRF's namespace. Throws RangeError if the name is too long to make the name of one.
    Nimb::NamespaceName nsName() const;

    // A copy of the name that owns nothing, for records that are only looked at later. A long name
    // is cut, and marked with a "~" at its end.
    Raw raw() const noexcept;
};

class VrfName::Raw {
public:
    static constexpr std::size_t capacity = 31;

    // Of a VrfName that was empty.
    Raw() = default;
    std::string_view text() const noexcept { return {bytes_.data(), size_}; }
    std::string toStrep() const { return std::string(text()); }

private:
    friend class VrfName;

    std::array<char, capacity> bytes_{};
    std::uint8_t size_ = 0;
};

}  // namespace L3
