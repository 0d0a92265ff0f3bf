#include "Zin/HashSeed.h"

namespace Zin {
namespace {

constinit std::uint32_t seed = 0x5eed2018;

}  // namespace

std::uint32_t hashSeed() noexcept { return seed; }

void hashSeedIs(std::uint32_t newSeed) noexcept { seed = newSeed; }

}  // namespace Zin
