// The recorders of the address table and of its subnet sets, for tests of whoever writes or follows
// them.
#pragma once

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "TestKit/Recorder.h"

namespace TestKit {

template <>
class Recorder<IpLib::IntfAddrEntrySet> final : public RecorderOf<IpLib::IntfAddrEntrySet> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryKey const& key) override {
        record("intfAddrEntry", key, notifier()->intfAddrEntryHas(key));
    }
    void handleDeprecatedIntfAddrEntry(IpLib::IntfAddrEntryKey const& key) override {
        record("deprecatedIntfAddrEntry", key, notifier()->deprecatedIntfAddrEntryHas(key));
    }
};

template <>
class Recorder<IpLib::IntfAddrVrfTable> final : public RecorderOf<IpLib::IntfAddrVrfTable> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleVrfIpIntfStatus() override {
        record("vrfIpIntfStatus", notifier()->vrfIpIntfStatus());
    }
    void handleVrfIp6IntfStatus() override {
        record("vrfIp6IntfStatus", notifier()->vrfIp6IntfStatus());
    }
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const& content) override {
        record("intfAddrEntry", content, notifier()->intfAddrEntryHas(content));
    }
    void handleIntfAddrEntryFromAddr(IpLib::IntfAddrEntryKey const& key) override {
        record("intfAddrEntryFromAddr", key, notifier()->intfAddrEntryFromAddrHas(key));
    }
    void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const& subnet) override {
        record("intfAddrEntrySetFromSubnet", subnet,
               notifier()->intfAddrEntrySetFromSubnetHas(subnet));
    }
    void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const& intfId) override {
        record("llIntfAddrEntryFromIntfId", intfId,
               notifier()->llIntfAddrEntryFromIntfIdHas(intfId));
    }
};

}  // namespace TestKit
