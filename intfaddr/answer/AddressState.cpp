#include "intfaddr/answer/AddressState.h"

#include <array>

namespace IntfAddr {

std::string_view toStrep(AddressState state) {
    static constexpr std::array<std::string_view, 6> names{
        "PREFERRED", "DEPRECATED", "INVALID", "INACCESSIBLE", "TENTATIVE", "DUPLICATE"};
    return names.at(static_cast<std::size_t>(state));
}

}  // namespace IntfAddr
