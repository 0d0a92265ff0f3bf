#include "feeds/scenario/RepairPrinter.h"

#include "feeds/scenario/Snapshot.h"

namespace Scenario {

namespace {

OrderedJson rows(std::vector<IpLib::IntfAddrEntryContent> const& contents) {
    OrderedJson list = OrderedJson::array();
    for (auto const& content : contents) {
        list.push_back(rowJson(content));
    }
    return list;
}

}  // namespace

void RepairPrinter::handleRepair(Routing::Repair const& repair,
                                 std::vector<IpLib::IntfAddrEntryContent> const& added,
                                 std::vector<IpLib::IntfAddrEntryContent> const& removed) {
    output_.print("healed", {{"vrf", repair.vrf.bytes()},
                             {"why", repair.why},
                             {"added", rows(added)},
                             {"removed", rows(removed)}});
}

}  // namespace Scenario
