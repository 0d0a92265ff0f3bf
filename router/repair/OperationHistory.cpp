#include "router/repair/OperationHistory.h"

#include <algorithm>
#include <set>
#include <utility>

#include "router/repair/VrfState.h"

namespace Routing {

namespace {

// Every VRF of which anything is there.
std::set<L3::VrfName, VrfOrder> vrfsOf(Router const& router) {
    std::set<L3::VrfName, VrfOrder> vrfs;
    Inputs const& inputs = router.inputs();
    for (auto const& vrf : router.vrfs()) {
        vrfs.insert(vrf);
    }
    for (auto const& member : inputs.ipStatus()->vrfIpIntfStatus()) {
        vrfs.insert(member.key);
    }
    for (auto const& member : inputs.ip6Status()->vrfIp6IntfStatus()) {
        vrfs.insert(member.key);
    }
    for (auto const& vrf : inputs.kniIntfStatusHelper()->vrfs()) {
        vrfs.insert(vrf);
    }
    for (auto const& member : inputs.virtualIpStatus()->virtualIp()) {
        vrfs.insert(member.key.vrfName());
    }
    for (auto const& member : inputs.virtualIp6Status()->virtualIp6()) {
        vrfs.insert(member.key.vrfName());
    }
    return vrfs;
}

}  // namespace

std::vector<Operation> operationsOf(Router const& router) {
    std::vector<Operation> operations;
    for (auto const& vrf : vrfsOf(router)) {
        VrfState state(router, vrf, VrfState::Times::left, [&operations](RecordedOperation made) {
            operations.push_back(std::move(made.operation));
        });
        while (state.step()) {
        }
    }
    if (!router.managerRuns()) {
        operations.push_back(ManagerStop{});
    }
    return operations;
}

OperationHistory::OperationHistory(Router const& router, std::size_t bound)
    : router_(router), bound_(bound), newer_(std::make_shared<Recording::Generation>()) {
    writeState();
}

void OperationHistory::writeState() {
    for (auto& made : operationsOf(router_)) {
        newer_->state.push_back({.operation = std::move(made)});
    }
}

void OperationHistory::record(Operation const& operation) {
    Zin::Seconds const now = router_.scheduler()->now();
    // Within another operation the state is not one that could be written down.
    if (newer_->operations.size() >= std::max(bound_, newer_->state.size()) &&
        !Zin::Turn::inProgress()) {
        older_ = std::exchange(newer_, std::make_shared<Recording::Generation>());
        writeState();
        if (newer_->state.empty()) {
            tasksRan_ = true;  // the operation itself says when that was
        } else {
            newer_->state.front().at = now;
        }
    }
    RecordedOperation recorded{.operation = operation};
    if (tasksRan_ || now != lastAt_) {
        recorded.at = now;
    }
    tasksRan_ = false;
    lastAt_ = now;
    newer_->operations.push_back(std::move(recorded));
}

Recording OperationHistory::recording() const {
    Recording recording;
    recording.older_ = older_;
    recording.newer_ = newer_;
    recording.newerOperations_ = newer_->operations.size();
    return recording;
}

std::size_t Recording::size() const {
    if (!newer_) {
        return 0;
    }
    return newerOperations_ +
           (older_ ? older_->state.size() + older_->operations.size() : newer_->state.size());
}

RecordedOperation const& Recording::operator[](std::size_t index) const {
    Generation const& first = older_ ? *older_ : *newer_;
    if (index < first.state.size()) {
        return first.state[index];
    }
    index -= first.state.size();
    if (!older_) {
        return newer_->operations[index];
    }
    return index < older_->operations.size()
               ? older_->operations[index]
               : newer_->operations[index - older_->operations.size()];
}

}  // namespace Routing
