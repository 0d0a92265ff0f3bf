// A reader of an agent's tables, who knows what he was told of alone.
#pragma once

#include <set>
#include <tuple>
#include <utility>

#include "heal/Told.h"
#include "router/Inputs.h"
#include "router/repair/TableFollower.h"

namespace Simulated {

class Reader final : public Routing::TableFollower::Notifiee {
public:
    Reader(Zin::Ptr<Routing::TableFollower const> follower, Routing::Inputs const& inputs);

    // Rows that leave in a batch do not come back in it, but where the address has become the
    // primary one of its interface, or is it no more: no such order leaves the row as it is.
    void batchBegins();
    void batchEnds();

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

    using Row = std::pair<L3::VrfName, IpLib::IntfAddrEntryContent>;

    // All that are published, with their VRFs and interfaces.
    using Primaries =
        std::set<std::tuple<L3::VrfName, Nimb::IntfId, Nimb::IpGenAddr, Nimb::IpGenPrefix>>;
    Primaries primaries() const;

    Routing::Inputs const& inputs_;
    Healing::Told told_;
    Healing::Faults faults_;
    Primaries primariesBefore_;
    std::set<Row> left_;
    std::set<Row> cameBack_;
};

}  // namespace Simulated
