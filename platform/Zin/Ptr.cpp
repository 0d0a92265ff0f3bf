#include "Zin/Ptr.h"

#include <fmt/format.h>

#include <algorithm>

#include "Zin/Fail.h"

namespace Zin {

// "T* Zin::Ptr<T>::followed() const [with T = Ip::Status const]", or "[T = Ip::Status const]".
void Detail::failNull(std::string_view function) {
    constexpr std::string_view before = "T = ";
    std::string_view type = function;
    if (auto const at = type.rfind(before); at != std::string_view::npos) {
        type = type.substr(at + before.size());
        type = type.substr(0, type.find_first_of(";]"));
    }
    std::string const message = fmt::format("there is no {} to follow a pointer to", type);
    fail({.className = "Ptr", .condition = "entity_", .function = "followed", .message = message});
}

}  // namespace Zin
