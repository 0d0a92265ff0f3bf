#include "feeds/scenario/FollowedEventPrinter.h"

#include <utility>

#include "feeds/scenario/EventPrinter.h"

namespace Scenario {

FollowedEventPrinter::FollowedEventPrinter(Zin::Ptr<Routing::TableFollower const> follower,
                                           Output& output, RowDetail detail)
    : output_(output), detail_(detail) {
    notifierIs(std::move(follower));
}

void FollowedEventPrinter::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                                     bool present) {
    OrderedJson event = eventJson(vrf, "intfAddrEntry", row, present);
    if (detail_ == RowDetail::owner) {
        event["intf"] = row.intfId.name();
        event["subnet"] = row.subnet.toStrep();
    }
    output_.print("event", std::move(event));
}

void FollowedEventPrinter::handleRowFromAddr(L3::VrfName const& vrf,
                                             IpLib::IntfAddrEntryKey const& key, bool present) {
    printEvent(output_, vrf, "intfAddrEntryFromAddr", key, present);
}

void FollowedEventPrinter::handleSetFromSubnet(L3::VrfName const& vrf,
                                               Nimb::IpGenPrefix const& subnet, bool present) {
    printEvent(output_, vrf, "intfAddrEntrySetFromSubnet", subnet, present);
}

void FollowedEventPrinter::handleLinkLocalFromIntf(L3::VrfName const& vrf, Nimb::IntfId const& intf,
                                                   bool present) {
    printEvent(output_, vrf, "llIntfAddrEntryFromIntfId", intf, present);
}

}  // namespace Scenario
