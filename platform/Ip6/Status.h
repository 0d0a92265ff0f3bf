// The IPv6 interface status of all VRFs of a router, by VRF name. The root of what the agents of
// IPv6 interfaces publish.
#pragma once

#include "Ip6/VrfIp6IntfStatus.h"
#include "L3/VrfName.h"

namespace Ip6 {

class Status final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<Status> {
    public:
        virtual void handleVrfIp6IntfStatus(L3::VrfName const&) {}
    };

    // In the order in which the VRFs joined.
    auto const& vrfIp6IntfStatus() const { return vrfIp6IntfStatus_.map(); }
    // Null where the VRF has no status.
    Zin::Ptr<VrfIp6IntfStatus> vrfIp6IntfStatus(L3::VrfName const& vrf) const {
        return vrfIp6IntfStatus_(vrf);
    }
    bool vrfIp6IntfStatusHas(L3::VrfName const& vrf) const { return vrfIp6IntfStatus_.has(vrf); }
    // Null removes.
    void vrfIp6IntfStatusIs(L3::VrfName const& vrf, Zin::Ptr<VrfIp6IntfStatus> const& status) {
        vrfIp6IntfStatus_.setOrRemove(vrf, status);
    }
    Zin::Ptr<VrfIp6IntfStatus> vrfIp6IntfStatusDel(L3::VrfName const& vrf) {
        return vrfIp6IntfStatus_.del(vrf);
    }
    void vrfIp6IntfStatusDelAll() { vrfIp6IntfStatus_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleVrfIp6IntfStatus, L3::VrfName, Zin::Ptr<VrfIp6IntfStatus>>
        vrfIp6IntfStatus_{*this, 0x27fa5d80};
};

Zin::Ptr<Status> statusFactory();

}  // namespace Ip6
