// How much a task's work presses. It is kept and displayed with the task; the scheduler runs tasks
// in the order of their expiry, whatever their priority.
//
// Every value of the byte is a priority: those without a name are displayed as their number.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Zin/Text.h"

namespace Velk {

enum class TaskPriority : std::uint8_t { idle, low, belowNormal, normal, aboveNormal, high };

// "idle", ..., "high", "6", ..., "255".
std::string toStrep(TaskPriority priority);
TaskPriority fromStrep(std::type_identity<TaskPriority>, std::string_view text);

inline std::string valueToStrep(TaskPriority priority) { return Zin::quote(toStrep(priority)); }
inline TaskPriority readValue(std::type_identity<TaskPriority>, Zin::TextReader& reader) {
    return reader.quotedValue<TaskPriority>();
}
inline std::ostream& operator<<(std::ostream& out, TaskPriority priority) {
    return Zin::write(out, toStrep(priority));
}

}  // namespace Velk
