// What tells a VRF's machine of its inputs: each hands one input's changes on to the handlers of
// the same name. Owned by the machine.
#pragma once

#include "Interface/DeviceIntfStatusDir.h"
#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "VirtualIp/VirtualIp6Status.h"
#include "VirtualIp/VirtualIpStatus.h"
#include "Zin/Reactor.h"

namespace IpLib {

class IntfAddrVrfTableSm;

namespace IntfAddrVrfTableImpl {

class VirtualIpReactor final : public Zin::Reactor<IntfAddrVrfTableSm, VirtualIp::VirtualIpStatus> {
public:
    using Reactor::Reactor;

private:
    void handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) override;
};

class VirtualIp6Reactor final
    : public Zin::Reactor<IntfAddrVrfTableSm, VirtualIp::VirtualIp6Status> {
public:
    using Reactor::Reactor;

private:
    void handleVirtualIp6(VirtualIp::VrfIpPair const& key) override;
};

class KernelReactor final
    : public Zin::Reactor<IntfAddrVrfTableSm, Interface::DeviceIntfStatusDir> {
public:
    using Reactor::Reactor;

private:
    void handleDeviceIntfStatus(Nimb::IntfId const& intfId) override;
};

// The rows that go while the machine is torn down are its own doing, and so are the working rows:
// these two are heard until the teardown is over.

class TableReactor final : public Zin::Reactor<IntfAddrVrfTableSm, IntfAddrVrfTable> {
public:
    using Reactor::Reactor;

private:
    void handleVrfIpIntfStatus() override;
    void handleVrfIp6IntfStatus() override;
    void handleIntfAddrEntry(IntfAddrEntryContent const& content) override;
};

class AddrReactor final : public Zin::Reactor<IntfAddrVrfTableSm, AllIntfAddrWithMask> {
public:
    using Reactor::Reactor;

private:
    void handleAll(IntfAddrWithMaskKey const& key) override;
};

}  // namespace IntfAddrVrfTableImpl
}  // namespace IpLib
