// Prints each change of the tables' collections over the replacement of tables: what a repair
// leaves as it was is not told.
#pragma once

#include "feeds/scenario/Output.h"
#include "router/repair/TableFollower.h"

namespace Scenario {

// What is printed of a row: its key, or also the interface that owns it and its subnet.
enum class RowDetail { key, owner };

class FollowedEventPrinter final : public Routing::TableFollower::Notifiee {
public:
    FollowedEventPrinter(Zin::Ptr<Routing::TableFollower const> follower, Output& output,
                         RowDetail detail = RowDetail::key);

private:
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                   bool present) override;
    void handleRowFromAddr(L3::VrfName const& vrf, IpLib::IntfAddrEntryKey const& key,
                           bool present) override;
    void handleSetFromSubnet(L3::VrfName const& vrf, Nimb::IpGenPrefix const& subnet,
                             bool present) override;
    void handleLinkLocalFromIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                 bool present) override;

    Output& output_;
    RowDetail const detail_;
};

}  // namespace Scenario
