// A reader of an agent's tables, who knows what he was told of alone.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "feeds/netlink/Kernel.h"
#include "heal/Told.h"
#include "router/Inputs.h"
#include "router/repair/TableFollower.h"

namespace Simulated {

class Reader final : public Routing::TableFollower::Notifiee {
public:
    using Names = std::map<std::string, Netlink::NamespaceId>;

    Reader(Zin::Ptr<Routing::TableFollower const> follower, Routing::Inputs const& inputs);

    // Rows that leave in a batch do not come back in it, but where another device has the name
    // now, or where the address has become the primary one or is it no more: whatever the order of
    // operations, those take the row.
    void batchBegins();
    // With the names of namespaces that the agent knows.
    void batchEnds(Names const& names);

    using Row = std::pair<L3::VrfName, IpLib::IntfAddrEntryContent>;
    // Those that have left in this batch, and not come back.
    std::set<Row> const& gone() const { return gone_; }

    // The index of the device that had the name before this batch; 0: none.
    std::uint32_t ifIndexBefore(L3::VrfName const& vrf, Nimb::IntfId const& intf) const;

    void find(IpLib::AllIntfAddrVrfTable const& tables, Healing::Faults& faults) const;

private:
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;
    void handleRowFromAddr(L3::VrfName const& vrf, IpLib::IntfAddrEntryKey const& key,
                           bool present) override {
        told_.rowFromAddrIs(vrf, key, present);
    }
    void handleSetFromSubnet(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet,
                             bool present) override {
        told_.setFromSubnetIs(vrf, subnet, present);
    }
    void handleLinkLocalFromIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                 bool present) override {
        told_.linkLocalFromIntfIs(vrf, intf, present);
    }

    // What an interface was published as.
    struct Role {
        std::optional<Netlink::NamespaceId> network{};
        std::uint32_t ifIndex = 0;
        Nimb::IpGenAddrWithMask primary{};
    };
    using Roles = std::map<std::pair<L3::VrfName, Nimb::IntfId>, Role>;
    Roles roles(Names const& names) const;

    Routing::Inputs const& inputs_;
    Healing::Told told_;
    Healing::Faults faults_;
    Names names_;
    Roles rolesBefore_;
    std::set<Row> left_;
    std::set<Row> cameBack_;
    std::set<Row> gone_;
};

}  // namespace Simulated
