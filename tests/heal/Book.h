// A plain book of what the operations of a scenario have published and asked for, VRF by VRF. It
// knows nothing of how a router keeps that.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "Operation.h"

namespace Healing {

class Book {
public:
    using Addr = Nimb::IpGenAddrWithMask;
    struct IpIntf {
        Addr primary{};         // unset: none
        Nimb::IntfId source{};  // empty: numbered
        std::set<Addr> secondary{};
    };
    using Ip6Intf = std::map<Addr, bool>;  // whether deprecated
    struct Vrf {
        bool hasTable = false;
        // How often the VRF's kernel directory was acquired for a machine and not given back. Each
        // table that comes while the manager runs acquires it, also one that replaces another; a
        // table that goes gives it back once, as does each table when the manager stops.
        std::uint32_t kernelUses = 0;
        std::optional<std::map<Nimb::IntfId, IpIntf>> ip{};
        std::optional<std::map<Nimb::IntfId, Ip6Intf>> ip6{};
        std::set<Nimb::IntfId> devices{};
        std::set<Addr> virtualAddrs{};  // of IPv6 with all bits
    };

    Zin::Seconds now() const { return now_; }
    bool managerRuns() const { return managerRuns_; }
    // Those that an operation has named.
    std::map<L3::VrfName, Vrf> const& vrfs() const { return vrfs_; }
    // What nothing was ever noted of is empty.
    Vrf const& vrf(L3::VrfName const& name) const;

    // Whether the operation is of what exists, and not in the past.
    bool accepts(Operation const& operation) const;
    // Enters an operation that is accepted.
    void note(Operation const& operation);

private:
    bool acceptsOfIp(Operation const& operation) const;
    bool acceptsOfIp6(Operation const& operation) const;
    void noteOfIp(Vrf& vrf, Operation const& operation);
    void noteOfIp6(Vrf& vrf, Operation const& operation);
    void noteManager(bool runs);

    Zin::Seconds now_ = 0.0;
    bool managerRuns_ = true;
    std::map<L3::VrfName, Vrf> vrfs_;
};

// The addresses that the interfaces of a VRF have in effect, and whether they are deprecated: an
// unnumbered interface has no primary one.
std::map<std::pair<Nimb::IntfId, Book::Addr>, bool> publishedAddrs(Book::Vrf const& vrf);

}  // namespace Healing
