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

void IntfCleanupParent::processCleanupIntf(Nimb::IntfId const& intfId, Nimb::AddressFamily af) {
    sm_.processCleanupIntf(intfId, af);
}

void DeferredIntfAddParent::processDeferredIntfAdd(IntfAddrWithMaskKey const& key) {
    sm_.processDeferredIntfAdd(key);
}

}  // namespace IpLib::IntfAddrVrfTableImpl
