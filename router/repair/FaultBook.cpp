#include "router/repair/FaultBook.h"

#include <algorithm>
#include <iterator>

#include "Velk/TaskScheduler.h"

namespace Routing {

void FaultBook::found(Fault const& fault, Zin::Seconds now) {
    faults_.try_emplace(fault, Age{now, audit_, audit_}).first->second.lastAudit = audit_;
}

std::vector<Fault> FaultBook::auditEnds() {
    std::erase_if(faults_,
                  [this](auto const& member) { return member.second.lastAudit != audit_; });
    std::vector<Fault> inVain;
    for (auto& [fault, age] : faults_) {
        if (age.stage == Stage::tried) {
            age.stage = Stage::told;
            inVain.push_back(fault);
        }
    }
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
        if (age.stage == Stage::found) {
            next = std::min(next, age.since + patience_);
        }
    }
    return next;
}

void FaultBook::repaired(Zin::Seconds now) {
    for (auto& [fault, age] : faults_) {
        if (isDue(age, now)) {
            age.stage = Stage::tried;
        }
    }
}

template <class Concerns>
void FaultBook::forgetTried(Concerns const& concerns) {
    std::erase_if(faults_, [&](auto const& member) {
        return member.second.stage != Stage::found && concerns(member.first);
    });
}

void FaultBook::handleOperation(Operation const& operation) {
    std::visit(
        [this](auto const& op) {
            if constexpr (requires { op.intf; }) {
                forgetTried([&](Fault const& fault) { return fault.intf == op.intf; });
            } else if constexpr (requires { op.addr; }) {
                forgetTried([](Fault const& fault) { return fault.intf.empty(); });
            } else {
                forgetTried([](Fault const&) { return true; });
            }
        },
        operation);
}

template <class Concerns>
void FaultBook::forgetWaiting(Nimb::IpGenPrefix const& subnet, Concerns const& concerns) {
    auto at = faults_.lower_bound({.addr = {subnet.address(), 0}});
    while (at != faults_.end() &&
           at->first.addr.address().masked(subnet.prefixLength()) == subnet.address()) {
        auto const& [fault, age] = *at;
        bool const goes = fault.kind == Fault::Kind::freeAddressWaits &&
                          age.stage == Stage::found && concerns(fault);
        at = goes ? faults_.erase(at) : std::next(at);
    }
}

void FaultBook::handleRow(IpLib::IntfAddrEntryContent const& row) {
    auto const& addr = row.key.addr;
    if (!row.key.virtualIp && !addr.isV6LinkLocal()) {
        forgetWaiting({addr, Nimb::maxPrefixLength(addr.family())},
                      [](Fault const&) { return true; });
    }
}

void FaultBook::handleSet(Nimb::IpGenPrefix const& subnet) {
    forgetWaiting(subnet, [&](Fault const& fault) { return fault.addr.prefix() == subnet; });
}

void FaultBook::handleLinkLocal(Nimb::IntfId const& intf) {
    static Nimb::IpGenPrefix const linkLocals("fe80::/10");  // RFC 4291
    forgetWaiting(linkLocals, [&](Fault const& fault) { return fault.intf == intf; });
}

}  // namespace Routing
