#include "intfaddr/agent/Identity.h"

#include <unistd.h>

#include <chrono>

#include "Zin/Format.h"

namespace IntfAddr {

std::string startIdentity() {
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    auto const time = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
    return fmt::format("{:x}-{:x}", time, ::getpid());
}

}  // namespace IntfAddr
