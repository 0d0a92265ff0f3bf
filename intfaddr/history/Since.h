// Since when each row is in its table.
//
//   in     rows that come and go
//   out    the time at which a row that is there came
//
// Rows stand beside the tables in their millions, so one is known by a hash of 64 bits alone, which
// is keyed with words that nobody else knows: that two of a million rows share one, and the
// latter's time, happens once in many millions of routers. With its time and its place a row takes
// 35 bytes, and up to 70 where there is room for more.
#pragma once

#include <cstdint>
#include <optional>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "L3/VrfName.h"
#include "Zin/HashMap2018.h"
#include "Zin/Seconds.h"

namespace IntfAddr {

class Since {
public:
    using Row = IpLib::IntfAddrEntryContent;

    // Returns whether it is new; one that is there already keeps its time.
    bool come(L3::VrfName const& vrf, Row const& row, Zin::Seconds now);
    // Returns whether it was there.
    bool gone(L3::VrfName const& vrf, Row const& row);

    // Nothing where there is no such row.
    std::optional<Zin::Seconds> of(L3::VrfName const& vrf, Row const& row) const;
    std::uint32_t size() const { return times_.size(); }

private:
    struct Print {
        std::uint32_t first;
        std::uint32_t second;

        std::uint32_t hash(std::uint32_t seed) const { return first ^ seed; }
        friend bool operator==(Print const&, Print const&) = default;
    };
    static Print printOf(L3::VrfName const& vrf, Row const& row);

    Zin::HashMap2018<Print, Zin::Seconds> times_{Zin::hashSeed() ^ 0x6e1d38a5};
};

}  // namespace IntfAddr
