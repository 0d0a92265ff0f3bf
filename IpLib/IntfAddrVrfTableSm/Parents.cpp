#include "IpLib/IntfAddrVrfTableSm/AfIntfStatusParent.h"
#include "IpLib/IntfAddrVrfTableSm/DeferredIntfAddParent.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableSm/IntfCleanupParent.h"

namespace IpLib::IntfAddrVrfTableImpl {

void AfIntfStatusParent::addDeferredCleanup(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    sm_.addDeferredCleanup(intfId, af);
}

void AfIntfStatusParent::processPendingDeferredCleanup(Nimb::IntfId const& intfId,
                                                       Nimb::AddressFamily af) {
    sm_.processPendingDeferredCleanup(intfId, af);
}

// The tasks call from outside of the machine, and an observer of what it writes may drop it: it
// stays in memory for the time of the call.

void IntfCleanupParent::processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    Zin::Ptr<IntfAddrVrfTableSm> const alive(&sm_);
    alive->processCleanupIntf(intfId, af);
}

void DeferredIntfAddParent::processDeferredIntfAdd(IntfAddrWithMaskKey const& key) {
    Zin::Ptr<IntfAddrVrfTableSm> const alive(&sm_);
    alive->processDeferredIntfAdd(key);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
