// The IPv6 addressing of one interface, global and link-local addresses alike, as the agent that
// configures it publishes it: each address with what is known of it.
//
// Owned by the VRF's VrfIp6IntfStatus. Setting what is set already tells nobody.
#pragma once

#include "Ip6/AddressInfo.h"
#include "Nimb/IntfId.h"
#include "Nimb/Ip6AddrWithMask.h"
#include "Zin/Collection.h"

namespace Ip6 {

class IntfStatus final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<IntfStatus> {
    public:
        virtual void handleAddr(Nimb::Ip6AddrWithMask const&) {}
    };

    explicit IntfStatus(Nimb::IntfId intfId);

    Nimb::IntfId const& intfId() const { return intfId_; }

    // In the order in which the addresses joined.
    auto const& addr() const { return addr_.map(); }
    // A default AddressInfo where there is no such address.
    AddressInfo addr(Nimb::Ip6AddrWithMask const& addr) const { return addr_(addr); }
    bool addrHas(Nimb::Ip6AddrWithMask const& addr) const { return addr_.has(addr); }
    void addrIs(Nimb::Ip6AddrWithMask const& addr, AddressInfo const& info) {
        addr_.set(addr, info);
    }
    AddressInfo addrDel(Nimb::Ip6AddrWithMask const& addr) { return addr_.del(addr); }
    void addrDelAll() { addr_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Nimb::IntfId const intfId_;
    Zin::HashCollection<&Notifiee::handleAddr, Nimb::Ip6AddrWithMask, AddressInfo> addr_{
        *this, 0x51c8a3f9};
};

Zin::Ptr<IntfStatus> intfStatusFactory(Nimb::IntfId const& intfId);

}  // namespace Ip6
