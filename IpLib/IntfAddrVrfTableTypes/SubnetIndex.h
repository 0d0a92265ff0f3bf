// The index of a table's sets: the subnets of each interface, and which prefix lengths there are,
// so that whoever seeks the subnet of an address asks for these alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "IpLib/IntfAddrVrfTableTypes/IntfFamily.h"
#include "Nimb/IpGenPrefix.h"
#include "Zin/GroupIndex.h"

namespace IpLib {

// How many subnets there are of each length. Never fails.
class PrefixLengths {
public:
    // Whether any subnet of the family has that length; at most 32 for IPv4, 128 for IPv6.
    bool has(Nimb::AddressFamily family, std::uint8_t length) const {
        return counts_[indexOf(family, length)] > 0;
    }
    // Counts a subnet that comes, or one that goes and had come; forgets all of them.
    void add(Nimb::IpGenPrefix const& subnet) { ++counts_[indexOf(subnet)]; }
    void remove(Nimb::IpGenPrefix const& subnet) { --counts_[indexOf(subnet)]; }
    void clear() { counts_.fill(0); }

private:
    static constexpr std::size_t ip6Begins = 33;  // behind /0 to /32

    static std::size_t indexOf(Nimb::AddressFamily family, std::uint8_t length) {
        return length + (family == Nimb::AddressFamily::ipv6 ? ip6Begins : 0);
    }
    static std::size_t indexOf(Nimb::IpGenPrefix const& subnet) {
        return indexOf(subnet.family(), subnet.prefixLength());
    }

    std::array<std::uint32_t, ip6Begins + 129> counts_{};
};

// As Zin/GroupIndex.h describes indexes. `OwnerOf` says whose the set is.
template <class OwnerOf>
class SubnetIndex {
    using ByOwner = Zin::GroupIndex<OwnerOf, IntfFamily, Nimb::IpGenPrefix>;

public:
    // The map that the collection keeps its members in, with what the index adds to each.
    template <class Map>
    using MapOf = typename ByOwner::template MapOf<Map>;

    // The index itself, which the collection owns. Borrows the map.
    template <class Map>
    class Of : public ByOwner::template Of<Map> {
        using Base = typename ByOwner::template Of<Map>;

    public:
        using Base::Base;

        PrefixLengths const& lengths() const { return lengths_; }

        // The collection's mutators call these: for a member that is in the map and new to the
        // index, for one that is about to leave the map, and as the map is emptied.
        void add(Zin::Slot slot) {
            Base::add(slot);
            lengths_.add(this->map_.memberAt(slot).key);
        }
        void remove(Zin::Slot slot) {
            Base::remove(slot);
            lengths_.remove(this->map_.memberAt(slot).key);
        }
        void clear() {
            Base::clear();
            lengths_.clear();
        }

    private:
        PrefixLengths lengths_;
    };
};

}  // namespace IpLib
