// The tuning of the machines of one VRF: what the agent hands in. A machine keeps its copy for
// life, so a change takes effect for machines made afterwards.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Velk/TaskPriority.h"
#include "Zin/Seconds.h"
#include "Zin/Text.h"

namespace IpLib {

struct IntfAddrVrfTableSmConfig {
    // For how long the addresses of a vanished interface stay in the table, in seconds. 0: they
    // leave at once; negative: with the next run of the tasks. Finite, as is the other delay.
    Zin::Seconds intfCleanupDelay = 1.5;
    // How long a conflicting address waits between two tries, in seconds.
    Zin::Seconds deferredIntfAddDelay = 2.0;
    // Whether addresses stand in the table without regard to the kernel's interfaces.
    bool ignoreKernelInterfaceState = false;
    Velk::TaskPriority taskPriority = static_cast<Velk::TaskPriority>(3);

    // "intfCleanupDelay SECONDS;deferredIntfAddDelay SECONDS;..."
    std::string toStrep() const;

    friend bool operator==(IntfAddrVrfTableSmConfig const&,
                           IntfAddrVrfTableSmConfig const&) = default;
};

// "Value('IpLib::IntfAddrVrfTableSmConfig', ** {...})", the one form that is read back. Reading
// throws Zin::ParseError, which names the attribute.
std::string valueToStrep(IntfAddrVrfTableSmConfig const& config);
IntfAddrVrfTableSmConfig readValue(std::type_identity<IntfAddrVrfTableSmConfig>,
                                   Zin::TextReader& reader);
IntfAddrVrfTableSmConfig fromStrep(std::type_identity<IntfAddrVrfTableSmConfig>,
                                   std::string_view text);
// Writes the value form.
std::ostream& operator<<(std::ostream& out, IntfAddrVrfTableSmConfig const& config);

}  // namespace IpLib
