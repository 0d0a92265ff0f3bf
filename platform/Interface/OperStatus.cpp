#include "Interface/OperStatus.h"

#include <algorithm>
#include <array>

namespace Interface {
namespace {

// The first one is number 1.
constexpr std::array<std::string_view, 7> names{"up",      "down",       "testing",       "unknown",
                                                "dormant", "notPresent", "lowerLayerDown"};

}  // namespace

std::string toStrep(OperStatus status) {
    auto const number = static_cast<std::uint8_t>(status);
    return 1 <= number && number <= names.size() ? std::string(names[number - 1U])
                                                 : std::to_string(number);
}

OperStatus fromStrep(std::type_identity<OperStatus>, std::string_view text) {
    auto const name = std::find(names.begin(), names.end(), text);
    if (name == names.end()) {
        throw Zin::ParseError({}, 0, "an operational status");
    }
    return static_cast<OperStatus>(name - names.begin() + 1);
}

}  // namespace Interface
