// What the deferred-add task asks of the VRF's machine.
#pragma once

#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrVrfTableSm;

namespace IntfAddrVrfTableImpl {

class DeferredIntfAddParentInterface : public Zin::Entity {
public:
    // Tries once more to admit an address that waits.
    virtual void processDeferredIntfAdd(IntfAddrWithMaskKey const& key) = 0;
};

// Hands the call on to the VRF's machine, which retires the task before it goes.
class DeferredIntfAddParent final : public DeferredIntfAddParentInterface {
public:
    explicit DeferredIntfAddParent(IntfAddrVrfTableSm& sm) : sm_(sm) {}
    void processDeferredIntfAdd(IntfAddrWithMaskKey const& key) override;

private:
    IntfAddrVrfTableSm& sm_;
};

}  // namespace IntfAddrVrfTableImpl
}  // namespace IpLib
