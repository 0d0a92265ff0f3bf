#include "router/repair/OperationHistory.h"

#include <algorithm>
#include <set>
#include <utility>

#include "router/repair/Succession.h"

namespace Routing {

namespace {

using IpLib::IntfAddrWithMaskKey;

// The operations that publish what is published of one VRF, and make its table.
class VrfState {
public:
    VrfState(Router const& router, L3::VrfName vrf, std::vector<Operation>& operations)
        : router_(router),
          vrf_(std::move(vrf)),
          published_(router.published(vrf_)),
          operations_(operations) {}

    void write() {
        if (router_.tables()->intfAddrVrfTable(vrf_)) {
            operations_.push_back(TableAdd{vrf_});
        }
        writeDevices();
        writeInterfaces();
        writeAddresses();
        writeVirtual();
    }

private:
    void writeDevices() {
        auto const dir = router_.inputs().kniIntfStatusHelper()->deviceIntfStatusDir(vrf_);
        for (auto const& member : dir->deviceIntfStatus()) {
            auto const& device = *member.value;
            operations_.push_back(KernelAdd{vrf_,
                                            member.key,
                                            {.deviceName = device.deviceName(),
                                             .ifIndex = device.ifIndex(),
                                             .operStatus = device.operStatus(),
                                             .active = device.active()}});
        }
    }

    void writeInterfaces() {
        if (auto const status = published_.ipStatus()) {
            operations_.push_back(IpVrfAdd{vrf_});
            for (auto const& member : status->ipIntfStatus()) {
                Ip::IpIntfStatus const& intf = *member.value;
                IpIntf addressing{.unnumberedSource = intf.unnumberedIntfId()};
                if (!Published::hasPrimary(intf)) {
                    addressing.primary = intf.activeAddrWithMask();
                }
                operations_.push_back(IpIntfAdd{vrf_, member.key, addressing});
            }
        }
        if (auto const status = published_.ip6Status()) {
            operations_.push_back(Ip6VrfAdd{vrf_});
            for (auto const& member : status->intfStatus()) {
                operations_.push_back(Ip6IntfAdd{vrf_, member.key, {}});
            }
        }
    }

    void writeAddresses() {
        auto table = router_.tables()->intfAddrVrfTable(vrf_);
        if (!table) {
            table = IpLib::intfAddrVrfTableFactory();
        }
        std::vector<IntfAddrWithMaskKey> waiting;
        if (auto const machine = router_.tableSm(vrf_);
            machine && machine->deferredIntfAddBacklog()) {
            for (auto const& member : machine->deferredIntfAddBacklog()->backlog()) {
                waiting.push_back(member.key);
            }
        }
        for (auto const& addr : succession(published_, *table, waiting)) {
            writeAddress(addr.key(), addr.deprecated());
        }
        published_.forEach([this](IntfAddrWithMaskKey const& key, bool deprecated) {
            writeAddress(key, deprecated);
        });
    }

    void writeAddress(IntfAddrWithMaskKey const& key, bool deprecated) {
        auto const& [intf, addr] = key;
        if (addr.family() == Nimb::AddressFamily::ipv6) {
            // One that stands although it is refused was not refused when it came.
            if (written_.insert({key, deprecated}).second) {
                operations_.push_back(
                    Ip6AddrSet{vrf_,
                               intf,
                               {.addr = {addr.address().ip6(), addr.prefixLength()},
                                .deprecated = deprecated}});
            }
            return;
        }
        if (!written_.insert({key, deprecated}).second) {
            return;
        }
        Nimb::IpAddrWithMask const address(addr.address().ip4(), addr.prefixLength());
        auto const status = published_.ipStatus()->ipIntfStatus(intf);
        if (Published::hasPrimary(*status) && status->activeAddrWithMask() == address) {
            operations_.push_back(IpPrimaryIs{vrf_, intf, address});
        }
        if (status->secondaryActiveAddrWithMaskHas(address)) {
            operations_.push_back(IpSecondaryAdd{vrf_, intf, address});
        }
    }

    void writeVirtual() {
        for (auto const& member : router_.inputs().virtualIpStatus()->virtualIp()) {
            if (member.key.vrfName() == vrf_) {
                operations_.push_back(VipAdd{vrf_, member.key.addrWithMask()});
            }
        }
        for (auto const& member : router_.inputs().virtualIp6Status()->virtualIp6()) {
            if (member.key.vrfName() == vrf_) {
                operations_.push_back(Vip6Add{vrf_, member.key.addr()});
            }
        }
    }

    Router const& router_;
    L3::VrfName const vrf_;
    Published const published_;
    std::vector<Operation>& operations_;
    std::set<std::pair<IntfAddrWithMaskKey, bool>> written_;
};

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
        VrfState(router, vrf, operations).write();
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
