#include "Reader.h"

namespace Simulated {

Reader::Reader(Zin::Ptr<Routing::TableFollower const> follower, Routing::Inputs const& inputs)
    : inputs_(inputs) {
    notifierIs(std::move(follower));
}

void Reader::batchBegins() {
    primariesBefore_ = primaries();
    left_.clear();
    cameBack_.clear();
}

void Reader::batchEnds() {
    auto const now = primaries();
    for (auto const& [vrf, row] : cameBack_) {
        std::tuple const addr(vrf, row.intfId, row.key.addr, row.subnet);
        if (now.contains(addr) == primariesBefore_.contains(addr)) {
            faults_.add("left and came back", "{}: {} on {}", vrf, row, row.intfId);
        }
    }
    left_.clear();
    cameBack_.clear();
}

Reader::Primaries Reader::primaries() const {
    Primaries found;
    for (auto const& vrf : inputs_.ipStatus()->vrfIpIntfStatus()) {
        for (auto const& intf : vrf.value->ipIntfStatus()) {
            Nimb::IpGenAddrWithMask const primary = intf.value->activeAddrWithMask();
            found.emplace(vrf.key, intf.key, primary.address(), primary.prefix());
        }
    }
    return found;
}

void Reader::handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const& row,
                       bool present) {
    told_.rowIs(vrf, row, present);
    if (!present) {
        left_.emplace(vrf, row);
    } else if (left_.contains({vrf, row})) {
        cameBack_.emplace(vrf, row);
    }
}

void Reader::find(IpLib::AllIntfAddrVrfTable const& tables, Healing::Faults& faults) const {
    for (auto const& fault : faults_.all()) {
        faults.add(fault.kind, "{}", fault.what);
    }
    told_.find(tables, faults);
}

}  // namespace Simulated
