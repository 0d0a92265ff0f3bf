#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"

#include "Zin/Format.h"

namespace IpLib {
std::string IntfAddrVrfTableSmConfig::toStrep() const {
    return fmt::format(
        "intfCleanupDelay {};deferredIntfAddDelay {};ignoreKernelInterfaceState {};taskPriority {}",
        intfCleanupDelay, deferredIntfAddDelay, ignoreKernelInterfaceState, taskPriority);
}

std::string valueToStrep(IntfAddrVrfTableSmConfig const& config) {
    using Zin::valueToStrep;
    return fmt::format(
        "Value('IpLib::IntfAddrVrfTableSmConfig', ** {{'intfCleanupDelay': {}, "
        "'deferredIntfAddDelay': {}, 'ignoreKernelInterfaceState': {}, 'taskPriority': {}}})",
        valueToStrep(config.intfCleanupDelay), valueToStrep(config.deferredIntfAddDelay),
        valueToStrep(config.ignoreKernelInterfaceState), valueToStrep(config.taskPriority));
}

IntfAddrVrfTableSmConfig readValue(std::type_identity<IntfAddrVrfTableSmConfig>,
                                   Zin::TextReader& reader) {
    IntfAddrVrfTableSmConfig config;
    reader.literal("Value('IpLib::IntfAddrVrfTableSmConfig', ** {");
    reader.literal("'intfCleanupDelay': ");
    config.intfCleanupDelay = reader.read<Zin::Seconds>("intfCleanupDelay");
    reader.literal(", 'deferredIntfAddDelay': ");
    config.deferredIntfAddDelay = reader.read<Zin::Seconds>("deferredIntfAddDelay");
    reader.literal(", 'ignoreKernelInterfaceState': ");
    config.ignoreKernelInterfaceState = reader.read<bool>("ignoreKernelInterfaceState");
    reader.literal(", 'taskPriority': ");
    config.taskPriority = reader.read<Velk::TaskPriority>("taskPriority");
    reader.literal("})");
    return config;
}

IntfAddrVrfTableSmConfig fromStrep(std::type_identity<IntfAddrVrfTableSmConfig> type,
                                   std::string_view text) {
    Zin::TextReader reader(text);
    IntfAddrVrfTableSmConfig const config = readValue(type, reader);
    reader.end();
    return config;
}

std::ostream& operator<<(std::ostream& out, IntfAddrVrfTableSmConfig const& config) {
    return out << valueToStrep(config);
}

}  // namespace IpLib
