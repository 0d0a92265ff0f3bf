// One address family of one interface: what its rows, sets and waiting addresses are gathered by,
// and what a clean-up is about.
#pragma once

#include <compare>
#include <cstdint>

#include "Nimb/AddressFamily.h"
#include "Nimb/IntfId.h"
#include "Zin/Hash.h"

namespace IpLib {

struct IntfFamily {
    Nimb::IntfId intfId;                                  // whose family it is
    Nimb::AddressFamily af = Nimb::AddressFamily::unset;  // unset by default, which is none

    std::uint32_t hash(std::uint32_t seed) const {
        return Zin::Hash(seed).mix4(intfId.hash()).mix4(static_cast<std::uint32_t>(af)).finish();
    }
    friend bool operator==(IntfFamily const&, IntfFamily const&) = default;
    friend std::strong_ordering operator<=>(IntfFamily const&, IntfFamily const&) = default;
};

}  // namespace IpLib
