// What a machine asks of the configuration that it is made of. The records themselves hold any
// number; a machine takes delays that pass, negative ones among them.
#pragma once

#include <cmath>
#include <string_view>

#include "IpLib/IntfAddrVrfTableSmTypes/DelayedTaskConfig.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace IpLib::IntfAddrVrfTableImpl {

inline void checkFinite(std::string_view attribute, Zin::Seconds delay) {
    if (!std::isfinite(delay)) {
        throw Zin::RangeError(fmt::format("{} {} is not a finite time", attribute, delay));
    }
}

// The configuration itself. Throws Zin::RangeError if a delay is infinite, or not a number.
inline IntfAddrVrfTableSmConfig const& withFiniteDelays(IntfAddrVrfTableSmConfig const& config) {
    checkFinite("intfCleanupDelay", config.intfCleanupDelay);
    checkFinite("deferredIntfAddDelay", config.deferredIntfAddDelay);
    return config;
}
template <class Task>
DelayedTaskConfig<Task> const& withFiniteDelays(DelayedTaskConfig<Task> const& config) {
    checkFinite("delay", config.delay);
    return config;
}

}  // namespace IpLib::IntfAddrVrfTableImpl
