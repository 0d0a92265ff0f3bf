#include "IpLib/IntfAddrVrfTableSm/InputReactors.h"

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"

namespace IpLib::IntfAddrVrfTableImpl {

void VirtualIpReactor::handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) {
    forward<&IntfAddrVrfTableSm::handleVirtualIp>(key);
}

void VirtualIp6Reactor::handleVirtualIp6(VirtualIp::VrfIpPair const& key) {
    forward<&IntfAddrVrfTableSm::handleVirtualIp6>(key);
}

void KernelReactor::handleDeviceIntfStatus(Nimb::IntfId const& intfId) {
    forward<&IntfAddrVrfTableSm::handleKernelIntf>(intfId);
}

void TableReactor::handleVrfIpIntfStatus() {
    forward<&IntfAddrVrfTableSm::handleTableVrfIpIntfStatus>();
}

void TableReactor::handleVrfIp6IntfStatus() {
    forward<&IntfAddrVrfTableSm::handleTableVrfIp6IntfStatus>();
}

void TableReactor::handleIntfAddrEntry(IntfAddrEntryContent const& content) {
    forwardDuringTeardown<&IntfAddrVrfTableSm::handleIntfAddrEntry>(content);
}

void AddrReactor::handleAll(IntfAddrWithMaskKey const& key) {
    forwardDuringTeardown<&IntfAddrVrfTableSm::handleIntfAddrWithMask>(key);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
