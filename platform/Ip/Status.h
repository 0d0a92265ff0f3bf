// The IPv4 interface status of all VRFs of a router, by VRF name. The root of what the agents of
// IPv4 interfaces publish.
#pragma once

#include "Ip/VrfIpIntfStatus.h"
#include "L3/VrfName.h"

namespace Ip {

class Status final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<Status> {
    public:
        virtual void handleVrfIpIntfStatus(L3::VrfName const&) {}
    };

    // In the order in which the VRFs joined.
    auto const& vrfIpIntfStatus() const { return vrfIpIntfStatus_.map(); }
    // Null where the VRF has no status.
    Zin::Ptr<VrfIpIntfStatus> vrfIpIntfStatus(L3::VrfName const& vrf) const {
        return vrfIpIntfStatus_(vrf);
    }
    bool vrfIpIntfStatusHas(L3::VrfName const& vrf) const { return vrfIpIntfStatus_.has(vrf); }
    // Null removes.
    void vrfIpIntfStatusIs(L3::VrfName const& vrf, Zin::Ptr<VrfIpIntfStatus> const& status) {
        vrfIpIntfStatus_.setOrRemove(vrf, status);
    }
    Zin::Ptr<VrfIpIntfStatus> vrfIpIntfStatusDel(L3::VrfName const& vrf) {
        return vrfIpIntfStatus_.del(vrf);
    }
    void vrfIpIntfStatusDelAll() { vrfIpIntfStatus_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleVrfIpIntfStatus, L3::VrfName, Zin::Ptr<VrfIpIntfStatus>>
        vrfIpIntfStatus_{*this, 0x9c45e26b};
};

Zin::Ptr<Status> statusFactory();

}  // namespace Ip
