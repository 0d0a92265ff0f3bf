// The name of a network namespace, of at most 150 bytes; a longer one throws RangeError. The empty
// name, the default, stands for the default namespace. It prints as it is, as "", so that it is not
// mistaken for a namespace that somebody called "default".
#pragma once

#include <string>
#include <string_view>

#include "Zin/String.h"

namespace Nimb {

class NamespaceName : public Zin::StringValue<NamespaceName, 150> {
public:
    NamespaceName() = default;
    explicit NamespaceName(std::string_view name) : StringValue(name, "150") {}

    // Whether it is the namespace that the process runs in.
    bool isDefault() const { return empty(); }
};

}  // namespace Nimb
