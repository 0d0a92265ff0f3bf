// What the per-interface machines ask of the VRF's machine.
#pragma once

#include "Nimb/AddressFamily.h"
#include "Nimb/IntfId.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrVrfTableSm;

namespace IntfAddrVrfTableImpl {

class AfIntfStatusParentInterface : public Zin::Entity {
public:
    // The interface's status of this family has gone: its rows are to go after the delay.
    virtual void addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) = 0;
    // The interface's status of this family is here: a clean-up still pending is carried out now.
    virtual void processPendingDeferredCleanup(Nimb::IntfId const& intfId,
                                               Nimb::AddressFamily af) = 0;
};

// Hands the calls on to the VRF's machine. Held by its child alone; the machine retires its
// children before it goes, so the plain pointer never dangles.
class AfIntfStatusParent final : public AfIntfStatusParentInterface {
public:
    explicit AfIntfStatusParent(IntfAddrVrfTableSm& sm) : sm_(sm) {}
    void addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) override;
    void processPendingDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) override;

private:
    IntfAddrVrfTableSm& sm_;
};

}  // namespace IntfAddrVrfTableImpl
}  // namespace IpLib
