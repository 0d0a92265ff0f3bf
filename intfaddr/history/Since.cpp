#include "intfaddr/history/Since.h"

#include "Zin/Hash.h"
#include "Zin/HashKey.h"

namespace IntfAddr {

bool Since::come(L3::VrfName const& vrf, Row const& row, Zin::Seconds now) {
    return times_.emplace(printOf(vrf, row), now).inserted;
}

bool Since::gone(L3::VrfName const& vrf, Row const& row) { return times_.erase(printOf(vrf, row)); }

std::optional<Zin::Seconds> Since::of(L3::VrfName const& vrf, Row const& row) const {
    auto const* const found = times_.find(printOf(vrf, row));
    return found ? std::optional(*found) : std::nullopt;
}

// Each half hashes all fields under a seed of its own: what two rows have alike in one half, says
// nothing of the other.
Since::Print Since::printOf(L3::VrfName const& vrf, Row const& row) {
    auto const half = [&](std::uint32_t seed) {
        return Zin::Hash(seed)
            .mix4(vrf.hash(seed))
            .mix4(Zin::hashBytes(seed, row.intfId.name()))
            .mix4(row.key.addr.hash(seed))
            .mix1(row.key.virtualIp ? 1 : 0)
            .mix1(row.subnet.prefixLength())
            .finish();
    };
    return {.first = half(Zin::hashSeed() ^ 0x1f83d9ab),
            .second = half(Zin::hashSeed() ^ 0xa54ff53a)};
}

}  // namespace IntfAddr
