// The process-wide seed of all hash collections. Each collection hashes with this seed XOR a salt
// of its own, so that two collections with the same keys place them differently.
//
// Fixed unless the embedding agent says otherwise, so that two runs of the same input are the same
// run. A collection reads it once, when it is made: set it before making any.
#pragma once

#include <cstdint>

namespace Zin {

std::uint32_t hashSeed() noexcept;
void hashSeedIs(std::uint32_t seed) noexcept;

}  // namespace Zin
