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
    bool has(Nimb::AddressFamily family, std::uint8_t length) const {
        return counts_[indexOf(family, length)] > 0;
    }
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
class SubnetIndex : public Zin::GroupIndex<OwnerOf, IntfFamily, Nimb::IpGenPrefix> {
    using ByOwner = Zin::GroupIndex<OwnerOf, IntfFamily, Nimb::IpGenPrefix>;

public:
    PrefixLengths const& lengths() const { return lengths_; }

    template <class Set>
    void add(Nimb::IpGenPrefix const& subnet, Set const& set) {
        ByOwner::add(subnet, set);
        lengths_.add(subnet);
    }
    template <class Set>
    void remove(Nimb::IpGenPrefix const& subnet, Set const& set) {
        ByOwner::remove(subnet, set);
        lengths_.remove(subnet);
    }
    void clear() {
        ByOwner::clear();
        lengths_.clear();
    }

private:
    PrefixLengths lengths_;
};

}  // namespace IpLib
