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

std::vector<RecordedOperation> Recording::operations() const {
    auto const& first = older_ ? *older_ : *newer_;
    Operations all = first.state;
    if (older_) {
        all.insert(all.end(), older_->operations.begin(), older_->operations.end());
    }
    all.insert(all.end(), newer_->operations.begin(),
               newer_->operations.begin() + static_cast<std::ptrdiff_t>(newerOperations_));
    return all;
}

}  // namespace Routing
