// The recorders of the status that other agents publish.
#pragma once

#include "Interface/DeviceIntfStatusDir.h"
#include "Ip/Status.h"
#include "Ip6/Status.h"
#include "TestKit/Recorder.h"
#include "VirtualIp/VirtualIp6Status.h"
#include "VirtualIp/VirtualIpStatus.h"
#include "Zin/Format.h"

namespace TestKit {

template <>
class Recorder<Ip::IpIntfStatus> final : public RecorderOf<Ip::IpIntfStatus> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleActiveAddrWithMask() override {
        record("activeAddrWithMask", notifier()->activeAddrWithMask());
    }
    void handleUnnumberedIntfId() override {
        record("unnumberedIntfId", notifier()->unnumberedIntfId());
    }
    void handleSecondaryActiveAddrWithMask(Nimb::IpAddrWithMask const& addr) override {
        record("secondaryActiveAddrWithMask", addr,
               notifier()->secondaryActiveAddrWithMaskHas(addr));
    }
};

template <>
class Recorder<Ip::VrfIpIntfStatus> final : public RecorderOf<Ip::VrfIpIntfStatus> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleIpIntfStatus(Nimb::IntfId const& intfId) override {
        record("ipIntfStatus", intfId, notifier()->ipIntfStatusHas(intfId));
    }
};

template <>
class Recorder<Ip::Status> final : public RecorderOf<Ip::Status> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleVrfIpIntfStatus(L3::VrfName const& vrf) override {
        record("vrfIpIntfStatus", vrf, notifier()->vrfIpIntfStatusHas(vrf));
    }
};

template <>
class Recorder<Ip6::IntfStatus> final : public RecorderOf<Ip6::IntfStatus> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleAddr(Nimb::Ip6AddrWithMask const& addr) override {
        if (notifier()->addr(addr).deprecated) {
            record("addr", fmt::format("{} deprecated", addr));
        } else {
            record("addr", addr, notifier()->addrHas(addr));
        }
    }
};

template <>
class Recorder<Ip6::VrfIp6IntfStatus> final : public RecorderOf<Ip6::VrfIp6IntfStatus> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleIntfStatus(Nimb::IntfId const& intfId) override {
        record("intfStatus", intfId, notifier()->intfStatusHas(intfId));
    }
};

template <>
class Recorder<Ip6::Status> final : public RecorderOf<Ip6::Status> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleVrfIp6IntfStatus(L3::VrfName const& vrf) override {
        record("vrfIp6IntfStatus", vrf, notifier()->vrfIp6IntfStatusHas(vrf));
    }
};

template <>
class Recorder<VirtualIp::VirtualIpStatus> final : public RecorderOf<VirtualIp::VirtualIpStatus> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) override {
        record("virtualIp", key, notifier()->virtualIpHas(key));
    }
};

template <>
class Recorder<VirtualIp::VirtualIp6Status> final : public RecorderOf<VirtualIp::VirtualIp6Status> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleVirtualIp6(VirtualIp::VrfIpPair const& key) override {
        record("virtualIp6", key, notifier()->virtualIp6Has(key));
    }
};

template <>
class Recorder<Interface::DeviceIntfStatusDir> final
    : public RecorderOf<Interface::DeviceIntfStatusDir> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleDeviceIntfStatus(Nimb::IntfId const& intfId) override {
        record("deviceIntfStatus", intfId, notifier()->deviceIntfStatusHas(intfId));
    }
};

}  // namespace TestKit
