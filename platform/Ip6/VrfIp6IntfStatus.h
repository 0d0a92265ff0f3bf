// The interfaces of one VRF that have IPv6 status, by interface.
//
// Owned by Ip6::Status. Putting in a status always tells the observers, also where it replaces one:
// whoever bound to the old object must let go of it.
#pragma once

#include "Ip6/IntfStatus.h"

namespace Ip6 {

class VrfIp6IntfStatus final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<VrfIp6IntfStatus> {
    public:
        virtual void handleIntfStatus(Nimb::IntfId const&) {}
    };

    // In the order in which the interfaces joined.
    auto const& intfStatus() const { return intfStatus_.map(); }
    // Null where the interface has no status.
    Zin::Ptr<IntfStatus> intfStatus(Nimb::IntfId const& intfId) const {
        return intfStatus_(intfId);
    }
    bool intfStatusHas(Nimb::IntfId const& intfId) const { return intfStatus_.has(intfId); }
    // Under its own interface. Throws NullArgumentError.
    void intfStatusIs(Zin::Ptr<IntfStatus> const& status) {
        intfStatus_.put(Zin::notNull("intfStatus", status.get())->intfId(), status);
    }
    Zin::Ptr<IntfStatus> intfStatusDel(Nimb::IntfId const& intfId) {
        return intfStatus_.del(intfId);
    }
    void intfStatusDelAll() { intfStatus_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleIntfStatus, Nimb::IntfId, Zin::Ptr<IntfStatus>>
        intfStatus_{*this, 0xe80d6b14};
};

Zin::Ptr<VrfIp6IntfStatus> vrfIp6IntfStatusFactory();

}  // namespace Ip6
