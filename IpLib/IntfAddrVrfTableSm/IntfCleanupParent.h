// What the clean-up task asks of the VRF's machine.
#pragma once

#include "Nimb/AddressFamily.h"
#include "Nimb/IntfId.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrVrfTableSm;

namespace IntfAddrVrfTableImpl {

class IntfCleanupParentInterface : public Zin::Entity {
public:
    // Removes everything that the interface has in the table in this family.
    virtual void processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) = 0;
};

// Hands the call on to the VRF's machine, which retires the task before it goes.
class IntfCleanupParent final : public IntfCleanupParentInterface {
public:
    explicit IntfCleanupParent(IntfAddrVrfTableSm& sm) : sm_(sm) {}
    void processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) override;

private:
    IntfAddrVrfTableSm& sm_;
};

}  // namespace IntfAddrVrfTableImpl
}  // namespace IpLib
