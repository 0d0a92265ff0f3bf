// The virtual IPv6 addresses of all VRFs of a router, as the agent that runs the virtual router
// publishes them.
#pragma once

#include "VirtualIp/VrfIpPair.h"
#include "Zin/Collection.h"

namespace VirtualIp {

class VirtualIp6Status final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<VirtualIp6Status> {
    public:
        virtual void handleVirtualIp6(VrfIpPair const&) {}
    };

    // The members' keys are the addresses, in the order in which they joined.
    auto const& virtualIp6() const { return virtualIp6_.map(); }
    bool virtualIp6Has(VrfIpPair const& key) const { return virtualIp6_.has(key); }
    void virtualIp6Is(VrfIpPair const& key) { virtualIp6_.insert(key); }
    VrfIpPair virtualIp6Del(VrfIpPair const& key) { return virtualIp6_.del(key); }
    void virtualIp6DelAll() { virtualIp6_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleVirtualIp6, VrfIpPair, void> virtualIp6_{*this,
                                                                                  0xad3187c2};
};

Zin::Ptr<VirtualIp6Status> virtualIp6StatusFactory();

}  // namespace VirtualIp
