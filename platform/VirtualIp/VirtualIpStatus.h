// The virtual IPv4 addresses of all VRFs of a router, as the agent that runs the virtual router
// publishes them.
#pragma once

#include "VirtualIp/VrfIpWithMaskPair.h"
#include "Zin/Collection.h"

namespace VirtualIp {

class VirtualIpStatus final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<VirtualIpStatus> {
    public:
        virtual void handleVirtualIp(VrfIpWithMaskPair const&) {}
    };

    // The members' keys are the addresses, in the order in which they joined.
    auto const& virtualIp() const { return virtualIp_.map(); }
    bool virtualIpHas(VrfIpWithMaskPair const& key) const { return virtualIp_.has(key); }
    void virtualIpIs(VrfIpWithMaskPair const& key) { virtualIp_.insert(key); }
    VrfIpWithMaskPair virtualIpDel(VrfIpWithMaskPair const& key) { return virtualIp_.del(key); }
    void virtualIpDelAll() { virtualIp_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleVirtualIp, VrfIpWithMaskPair, void> virtualIp_{*this,
                                                                                        0x74b2096d};
};

Zin::Ptr<VirtualIpStatus> virtualIpStatusFactory();

}  // namespace VirtualIp
