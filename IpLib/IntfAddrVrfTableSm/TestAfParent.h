// For the tests of the machines of one interface: a parent and a recorder of the working rows that
// write into one list of events, so that it shows which came first.
#pragma once

#include <functional>

#include "IpLib/IntfAddrVrfTableSm/AfIntfStatusParent.h"
#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"
#include "TestKit/Recorder.h"
#include "Zin/Format.h"

namespace TestKit {

// "addDeferredCleanup Ethernet1 IPv4", "processPendingDeferredCleanup Ethernet1 IPv4".
class TestAfParent final : public IpLib::IntfAddrVrfTableImpl::AfIntfStatusParentInterface {
public:
    explicit TestAfParent(Events& events) : events_(events) {}

    void addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) override {
        events_.push_back(fmt::format("addDeferredCleanup {} {}", intfId, af));
        onAddDeferredCleanup();
    }
    void processPendingDeferredCleanup(Nimb::IntfId const& intfId,
                                       Nimb::AddressFamily af) override {
        events_.push_back(fmt::format("processPendingDeferredCleanup {} {}", intfId, af));
    }

    std::function<void()> onAddDeferredCleanup = [] {};

private:
    Events& events_;
};

// "10.0.0.1/24 Ethernet1 present", "... deprecated" or "... absent".
template <>
class Recorder<IpLib::AllIntfAddrWithMask> final : public RecorderOf<IpLib::AllIntfAddrWithMask> {
public:
    using RecorderOf::RecorderOf;

private:
    void handleAll(IpLib::IntfAddrWithMaskKey const& key) override {
        if (notifier()->all(key).deprecated()) {
            record(fmt::format("{}", key.addrWithMask), fmt::format("{} deprecated", key.intfId));
        } else {
            record(fmt::format("{}", key.addrWithMask), key.intfId, notifier()->allHas(key));
        }
    }
};

}  // namespace TestKit
