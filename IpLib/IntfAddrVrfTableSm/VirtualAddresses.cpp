// How virtual addresses get into the table and leave it: beside the interfaces' addresses, of which
// they know nothing.

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/HandleAll.h"

namespace IpLib {

void IntfAddrVrfTableSm::handleVirtualIpAll() {
    trace8("");
    if (virtualIpStatus_) {
        Zin::handleAll(virtualIpStatus_->virtualIp(),
                       [this](auto const& key) { handleVirtualIp(key); });
    }
}

void IntfAddrVrfTableSm::handleVirtualIp(VirtualIp::VrfIpWithMaskPair const& key) {
    if (retired()) {
        return;
    }
    Nimb::IpGenAddr const addr(key.addrWithMask().address());
    trace8("vrf {} ip {}", key.vrfName(), addr);
    if (key.vrfName() == vrfName_) {
        write([this, key, addr] {
            if (virtualIpStatus_ && virtualIpStatus_->virtualIpHas(key)) {
                addVirtualIntfAddr(addr);
            } else {
                removeVirtualIntfAddr(addr);
            }
        });
    }
}

void IntfAddrVrfTableSm::handleVirtualIp6All() {
    trace8("");
    if (virtualIp6Status_) {
        Zin::handleAll(virtualIp6Status_->virtualIp6(),
                       [this](auto const& key) { handleVirtualIp6(key); });
    }
}

void IntfAddrVrfTableSm::handleVirtualIp6(VirtualIp::VrfIpPair const& key) {
    if (retired()) {
        return;
    }
    Nimb::IpGenAddr const addr(key.addr());
    trace8("vrf {} ip {}", key.vrfName(), addr);
    if (key.vrfName() == vrfName_) {
        write([this, key, addr] {
            if (virtualIp6Status_ && virtualIp6Status_->virtualIp6Has(key)) {
                addVirtualIntfAddr(addr);
            } else {
                removeVirtualIntfAddr(addr);
            }
        });
    }
}

namespace {

IntfAddrEntryContent virtualRow(Nimb::IpGenAddr const& addr) {
    return {.key = IntfAddrEntryKey::makeVirtualIpKey(addr), .intfId = {}, .subnet = {}};
}

}  // namespace

void IntfAddrVrfTableSm::addVirtualIntfAddr(Nimb::IpGenAddr const& addr) {
    trace8("vrf {} ip {}", vrfName_, addr);
    if (intfAddrVrfTable_) {
        auto const content = virtualRow(addr);
        auto const entry = intfAddrVrfTable_->intfAddrEntryIs(content);
        if (intfAddrVrfTable_->intfAddrEntry(content) == entry) {
            intfAddrVrfTable_->intfAddrEntryFromAddrIs(entry);
        }
    }
}

void IntfAddrVrfTableSm::removeVirtualIntfAddr(Nimb::IpGenAddr const& addr) {
    trace8("vrf {} ip {}", vrfName_, addr);
    if (intfAddrVrfTable_) {
        auto const content = virtualRow(addr);
        intfAddrVrfTable_->intfAddrEntryFromAddrDel(content.key);
        intfAddrVrfTable_->intfAddrEntryDel(content);
    }
}

}  // namespace IpLib
