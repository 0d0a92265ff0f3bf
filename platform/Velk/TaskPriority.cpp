#include "Velk/TaskPriority.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace Velk {
namespace {

constexpr std::array<std::string_view, 6> names{"idle",   "low",         "belowNormal",
                                                "normal", "aboveNormal", "high"};

}  // namespace

std::string toStrep(TaskPriority priority) {
    auto const number = static_cast<std::uint8_t>(priority);
    return number < names.size() ? std::string(names[number]) : std::to_string(number);
}

TaskPriority fromStrep(std::type_identity<TaskPriority>, std::string_view text) {
    auto number = static_cast<std::uint8_t>(std::ranges::find(names, text) - names.begin());
    if (number == names.size()) {
        std::from_chars(text.data(), text.data() + text.size(), number);
    }
    // Each priority has one text: no number with leading zeros, none where there is a name.
    if (toStrep(TaskPriority{number}) != text) {
        throw Zin::ParseError({}, 0, "a task priority");
    }
    return TaskPriority{number};
}

}  // namespace Velk
