#include "Reader.h"

#include <tuple>

namespace Simulated {

Reader::Reader(Zin::Ptr<Routing::TableFollower const> follower, Routing::Inputs const& inputs)
    : inputs_(inputs) {
    notifierIs(std::move(follower));
}

void Reader::batchBegins() {
    rolesBefore_ = roles(names_);
    left_.clear();
    cameBack_.clear();
}

void Reader::batchEnds(Names const& names) {
    names_ = names;
    auto const now = cameBack_.empty() ? Roles() : roles(names_);
    for (auto const& [vrf, row] : cameBack_) {
        auto const isOf = [&row = row](Role const& role) {
            return std::tuple(
                role.network, role.ifIndex,
                role.primary.address() == row.key.addr && role.primary.prefix() == row.subnet);
        };
        std::pair const intf(vrf, row.intfId);
        auto const before = rolesBefore_.find(intf);
        auto const after = now.find(intf);
        if (before != rolesBefore_.end() && after != now.end() &&
            isOf(before->second) == isOf(after->second)) {
            faults_.add("left and came back", "{}: {} on {}", vrf, row, row.intfId);
        }
    }
    left_.clear();
    cameBack_.clear();
    gone_.clear();
}

Reader::Roles Reader::roles(Names const& names) const {
    Roles found;
    for (auto const& vrf : inputs_.ipStatus()->vrfIpIntfStatus()) {
        auto const& name = vrf.key.bytes();
        auto const network = names.find("ns-" + name.substr(0, name.find('/')));
        auto const devices = inputs_.kniIntfStatusHelper()->deviceIntfStatusDir(vrf.key);
        for (auto const& intf : vrf.value->ipIntfStatus()) {
            auto const device = devices->deviceIntfStatus(intf.key);
            found.emplace(std::pair(vrf.key, intf.key),
                          Role{.network = network == names.end() ? std::nullopt
                                                                 : std::optional(network->second),
                               .ifIndex = device ? device->ifIndex() : 0,
                               .primary = intf.value->activeAddrWithMask()});
        }
    }
    return found;
}

void Reader::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                       bool present) {
    told_.rowIs(vrf, row, present);
    gone_.erase({vrf, row});
    if (!present) {
        left_.emplace(vrf, row);
        gone_.emplace(vrf, row);
    } else if (left_.contains({vrf, row})) {
        cameBack_.emplace(vrf, row);
    }
}

std::uint32_t Reader::ifIndexBefore(L3::VrfName const& vrf, Nimb::IntfId const& intf) const {
    auto const found = rolesBefore_.find({vrf, intf});
    return found == rolesBefore_.end() ? 0 : found->second.ifIndex;
}

void Reader::find(IpLib::AllIntfAddrVrfTable const& tables, Healing::Faults& faults) const {
    for (auto const& fault : faults_.all()) {
        faults.add(fault.kind, "{}", fault.what);
    }
    told_.find(tables, faults);
}

}  // namespace Simulated
