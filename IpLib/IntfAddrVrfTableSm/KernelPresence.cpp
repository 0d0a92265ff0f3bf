// How rows follow the kernel: an interface without a device keeps no addresses, and gets them back
// when its device is back.

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Tremlog/Record.h"
#include "Zin/HandleAll.h"

namespace IpLib {

void IntfAddrVrfTableSm::handleKernelIntfAll() {
    trace8("");
    if (!smConfig_.ignoreKernelInterfaceState && kernelIntfDir_) {
        Zin::handleAll(kernelIntfDir_->deviceIntfStatus(),
                       [this](auto const& intfId) { handleKernelIntf(intfId); });
    }
}

void IntfAddrVrfTableSm::handleKernelIntf(Nimb::IntfId const& intfId) {
    bool const isPresent = kernelIntfPresent(intfId);
    Tremlog::record<"kernel interface for {} isPresent {}">(intfId, isPresent);
    trace3("kernel interface for {} isPresent {}", intfId, isPresent);
    kniKernelHistory_.changed(scheduler_->now(), intfId, isPresent);
    if (smConfig_.ignoreKernelInterfaceState) {
        return;
    }
    // An observer of what goes may bring this machine down, after which it cleans up no more, or
    // bring the device back.
    for (auto const af : {Nimb::AddressFamily::ipv4, Nimb::AddressFamily::ipv6}) {
        if (retired()) {
            return;
        }
        if (kernelIntfPresent(intfId)) {
            processPendingDeferredCleanup(intfId, af);
        } else {
            // Its addresses stay published: they wait for the device.
            addDeferredCleanup(intfId, af);
        }
    }
    if (isPresent) {
        readmit(intfId);
    }
}

void IntfAddrVrfTableSm::readmit(Nimb::IntfId const& intfId) {
    if (!allIntfAddrWithMask_) {
        return;
    }
    if (auto const published = allIntfAddrWithMask_->byIntfId(intfId)) {
        // An observer of what is admitted may take the device away again, or bring this machine
        // down. An address that has been withdrawn is in this view until its turn comes.
        Zin::handleAll(published->byIntfId(), [this](auto const& key) {
            if (!retired() && kernelIntfPresent(key.intfId) && allIntfAddrWithMask_->allHas(key)) {
                addIntfAddrWithMask(key);
            }
        });
    }
}

}  // namespace IpLib
