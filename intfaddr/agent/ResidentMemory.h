// How much memory this process takes.
#pragma once

#include <cstdint>

namespace IntfAddr {

// In bytes; 0 where the kernel does not tell.
std::uint64_t residentMemory();

}  // namespace IntfAddr
