#include "router/repair/FaultBook.h"

#include <algorithm>
#include <iterator>

#include "Velk/TaskScheduler.h"

namespace Routing {

namespace {

Nimb::IpGenAddr addressOf(Nimb::IpAddrWithMask const& addr) { return addr.address(); }
Nimb::IpGenAddr addressOf(Nimb::Ip6AddrWithMask const& addr) { return addr.address(); }
Nimb::IpGenAddr addressOf(Nimb::Ip6Addr const& addr) { return addr; }
Nimb::IpGenAddr addressOf(Ip6IntfAddr const& addr) { return addr.addr.address(); }

}  // namespace

void FaultBook::found(Fault const& fault, Zin::Seconds now) {
    auto const [at, isNew] = faults_.try_emplace(fault, Age{now, audit_});
    at->second.audit = audit_;
}

std::vector<Fault> FaultBook::auditEnds() {
    std::vector<Fault> inVain;
    for (auto at = faults_.begin(); at != faults_.end();) {
        auto& [fault, age] = *at;
        if (age.audit != audit_) {
            at = faults_.erase(at);
            continue;
        }
        if (age.stage == Age::Stage::tried) {
            age.stage = Age::Stage::told;
            inVain.push_back(fault);
        }
        ++at;
    }
    ++audit_;
    return inVain;
}

std::vector<Fault> FaultBook::due(Zin::Seconds now) const {
    std::vector<Fault> due;
    for (auto const& [fault, age] : faults_) {
        if (isDue(age, now)) {
            due.push_back(fault);
        }
    }
    return due;
}

Zin::Seconds FaultBook::nextDue() const {
    Zin::Seconds next = Velk::never;
    for (auto const& [fault, age] : faults_) {
        if (age.stage == Age::Stage::found) {
            next = std::min(next, age.since + patience_);
        }
    }
    return next;
}

void FaultBook::repaired(Zin::Seconds now) {
    for (auto& [fault, age] : faults_) {
        if (isDue(age, now)) {
            age.stage = Age::Stage::tried;
        }
    }
}

template <class Concerns>
void FaultBook::forget(Concerns const& concerns) {
    std::erase_if(faults_,
                  [&](auto const& member) { return concerns(member.first, member.second); });
}

void FaultBook::handleOperation(Operation const& operation) {
    if (faults_.empty()) {
        return;
    }
    std::visit(
        [this](auto const& op) {
            if constexpr (requires {
                              op.intf;
                              op.addr;
                          }) {
                // What was tried in vain for the interface is tried again.
                forget([&, addr = addressOf(op.addr)](Fault const& fault, Age const& age) {
                    return fault.intf == op.intf &&
                           (age.stage != Age::Stage::found || fault.addr.address() == addr);
                });
            } else if constexpr (requires { op.intf; }) {
                forget([&](Fault const& fault, Age const&) { return fault.intf == op.intf; });
            } else if constexpr (requires { op.addr; }) {
                forget([&, addr = addressOf(op.addr)](Fault const& fault, Age const&) {
                    return fault.intf.empty() && fault.addr.address() == addr;
                });
            } else {
                clear();
            }
        },
        operation);
}

void FaultBook::handleRow(Nimb::IpGenAddr const& addr) {
    auto at = faults_.lower_bound({.addr = {addr, 0}});
    while (at != faults_.end() && at->first.addr.address() == addr) {
        at = at->second.stage == Age::Stage::found ? faults_.erase(at) : std::next(at);
    }
}

void FaultBook::handleSet(Nimb::IpGenPrefix const& subnet) {
    auto at = faults_.lower_bound({.addr = {subnet.address(), 0}});
    while (at != faults_.end() &&
           at->first.addr.address().masked(subnet.prefixLength()) == subnet.address()) {
        at = at->second.stage == Age::Stage::found ? faults_.erase(at) : std::next(at);
    }
}

}  // namespace Routing
