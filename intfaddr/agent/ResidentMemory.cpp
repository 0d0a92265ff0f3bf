#include "intfaddr/agent/ResidentMemory.h"

#include <unistd.h>

#include <fstream>

namespace IntfAddr {

std::uint64_t residentMemory() {
    std::uint64_t all = 0;
    std::uint64_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace IntfAddr
