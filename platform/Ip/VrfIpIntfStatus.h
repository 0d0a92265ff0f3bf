// The interfaces of one VRF that have IPv4 status, by interface.
//
// Owned by Ip::Status. Putting in a status always tells the observers, also where it replaces one:
// whoever bound to the old object must let go of it.
#pragma once

#include "Ip/IpIntfStatus.h"

namespace Ip {

class VrfIpIntfStatus final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<VrfIpIntfStatus> {
    public:
        virtual void handleIpIntfStatus(Nimb::IntfId const&) {}
    };

    // In the order in which the interfaces joined.
    auto const& ipIntfStatus() const { return ipIntfStatus_.map(); }
    // Null where the interface has no status.
    Zin::Ptr<IpIntfStatus> ipIntfStatus(Nimb::IntfId const& intfId) const {
        return ipIntfStatus_(intfId);
    }
    bool ipIntfStatusHas(Nimb::IntfId const& intfId) const { return ipIntfStatus_.has(intfId); }
    // Under its own interface. Throws NullArgumentError.
    void ipIntfStatusIs(Zin::Ptr<IpIntfStatus> const& status) {
        ipIntfStatus_.put(Zin::notNull("ipIntfStatus", status.get())->intfId(), status);
    }
    Zin::Ptr<IpIntfStatus> ipIntfStatusDel(Nimb::IntfId const& intfId) {
        return ipIntfStatus_.del(intfId);
    }
    void ipIntfStatusDelAll() { ipIntfStatus_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleIpIntfStatus, Nimb::IntfId, Zin::Ptr<IpIntfStatus>>
        ipIntfStatus_{*this, 0x3b1f90d7};
};

Zin::Ptr<VrfIpIntfStatus> vrfIpIntfStatusFactory();

}  // namespace Ip
