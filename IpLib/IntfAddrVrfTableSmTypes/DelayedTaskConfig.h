// The tuning of one of a VRF's two tasks: its part of IntfAddrVrfTableSmConfig. The two types are
// alike in shape and differ in name alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Velk/TaskPriority.h"
#include "Zin/Format.h"
#include "Zin/Seconds.h"
#include "Zin/Text.h"

namespace IpLib::IntfAddrVrfTableImpl {

template <class Task>
struct DelayedTaskConfig {
    Zin::Seconds delay = 0.0;  // in seconds
    Velk::TaskPriority taskPriority = static_cast<Velk::TaskPriority>(0);

    friend bool operator==(DelayedTaskConfig const&, DelayedTaskConfig const&) = default;
};

struct IntfCleanupTask {
    static constexpr std::string_view configName =
        "IpLib::IntfAddrVrfTableImpl::IntfCleanupSmConfig";
};
struct DeferredIntfAddTask {
    static constexpr std::string_view configName =
        "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSmConfig";
};
using IntfCleanupSmConfig = DelayedTaskConfig<IntfCleanupTask>;
using DeferredIntfAddSmConfig = DelayedTaskConfig<DeferredIntfAddTask>;

// The delay in whole seconds, as dumps show it: cut, and 0 or the greatest number where it is out
// of range.
template <class Task>
std::uint32_t wholeSeconds(DelayedTaskConfig<Task> const& config) {
    constexpr Zin::Seconds most = 4294967295.0;
    return config.delay > 0.0 ? static_cast<std::uint32_t>(std::min(config.delay, most)) : 0;
}

// "Value('NAME', ** {'delay': SECONDS, 'taskPriority': PRIORITY})", the one form that is read back
// and written to streams. Reading throws Zin::ParseError, which names the attribute.
template <class Task>
std::string valueToStrep(DelayedTaskConfig<Task> const& config) {
    using Zin::valueToStrep;
    return fmt::format("Value('{}', ** {{'delay': {}, 'taskPriority': {}}})", Task::configName,
                       valueToStrep(config.delay), valueToStrep(config.taskPriority));
}

template <class Task>
DelayedTaskConfig<Task> readValue(std::type_identity<DelayedTaskConfig<Task>>,
                                  Zin::TextReader& reader) {
    DelayedTaskConfig<Task> config;
    reader.literal(fmt::format("Value('{}', ** {{", Task::configName));
    reader.literal("'delay': ");
    config.delay = reader.read<Zin::Seconds>("delay");
    reader.literal(", 'taskPriority': ");
    config.taskPriority = reader.read<Velk::TaskPriority>("taskPriority");
    reader.literal("})");
    return config;
}

template <class Task>
DelayedTaskConfig<Task> fromStrep(std::type_identity<DelayedTaskConfig<Task>> type,
                                  std::string_view text) {
    Zin::TextReader reader(text);
    DelayedTaskConfig<Task> const config = readValue(type, reader);
    reader.end();
    return config;
}

template <class Task>
std::ostream& operator<<(std::ostream& out, DelayedTaskConfig<Task> const& config) {
    return Zin::write(out, valueToStrep(config));
}

}  // namespace IpLib::IntfAddrVrfTableImpl
