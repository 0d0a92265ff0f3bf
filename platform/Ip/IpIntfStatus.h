// The IPv4 addressing of one interface, as the agent that configures it publishes it.
//
//   activeAddrWithMask           the primary address; 0.0.0.0/0 where there is none
//   unnumberedIntfId             the interface whose address an unnumbered interface borrows; empty
//                                where the interface is numbered
//   secondaryActiveAddrWithMask  the secondary addresses, in ascending order
//
// Owned by the VRF's VrfIpIntfStatus. Setting what is set already tells nobody.
#pragma once

#include "Nimb/IntfId.h"
#include "Nimb/IpAddrWithMask.h"
#include "Zin/Collection.h"

namespace Ip {

class IpIntfStatus final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<IpIntfStatus> {
    public:
        virtual void handleActiveAddrWithMask() {}
        virtual void handleUnnumberedIntfId() {}
        virtual void handleSecondaryActiveAddrWithMask(Nimb::IpAddrWithMask const&) {}
    };

    explicit IpIntfStatus(Nimb::IntfId intfId);

    Nimb::IntfId const& intfId() const { return intfId_; }

    Nimb::IpAddrWithMask const& activeAddrWithMask() const { return activeAddrWithMask_(); }
    void activeAddrWithMaskIs(Nimb::IpAddrWithMask const& addr) { activeAddrWithMask_.is(addr); }

    Nimb::IntfId const& unnumberedIntfId() const { return unnumberedIntfId_(); }
    void unnumberedIntfIdIs(Nimb::IntfId const& source) { unnumberedIntfId_.is(source); }

    // Each address under itself.
    auto const& secondaryActiveAddrWithMask() const { return secondaryActiveAddrWithMask_.map(); }
    bool secondaryActiveAddrWithMaskHas(Nimb::IpAddrWithMask const& addr) const {
        return secondaryActiveAddrWithMask_.has(addr);
    }
    void secondaryActiveAddrWithMaskIs(Nimb::IpAddrWithMask const& addr) {
        secondaryActiveAddrWithMask_.set(addr, addr);
    }
    // Returns the address that was removed; 0.0.0.0/0 if there was none.
    Nimb::IpAddrWithMask secondaryActiveAddrWithMaskDel(Nimb::IpAddrWithMask const& addr) {
        return secondaryActiveAddrWithMask_.del(addr);
    }
    void secondaryActiveAddrWithMaskDelAll() { secondaryActiveAddrWithMask_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Nimb::IntfId const intfId_;
    Zin::Attribute<&Notifiee::handleActiveAddrWithMask, Nimb::IpAddrWithMask> activeAddrWithMask_{
        *this};
    Zin::Attribute<&Notifiee::handleUnnumberedIntfId, Nimb::IntfId> unnumberedIntfId_{*this};
    Zin::OrderedCollection<&Notifiee::handleSecondaryActiveAddrWithMask, Nimb::IpAddrWithMask,
                           Nimb::IpAddrWithMask, Zin::Itself>
        secondaryActiveAddrWithMask_{*this};
};

Zin::Ptr<IpIntfStatus> ipIntfStatusFactory(Nimb::IntfId const& intfId);

}  // namespace Ip
