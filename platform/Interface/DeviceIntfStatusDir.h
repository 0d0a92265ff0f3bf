// The interfaces that exist as devices in one network namespace, by interface: the kernel's view,
// as a feed reports it. An interface is present while it is a member.
//
// Handed out, one for each VRF, by the KniIntfStatusHelper. Putting in a status always tells the
// observers, also where it replaces one: the device may have been made anew.
#pragma once

#include "Interface/DeviceIntfStatus.h"
#include "Zin/Collection.h"

namespace Interface {

class DeviceIntfStatusDir final : public Zin::Entity {
public:
    class Notifiee : public Zin::NotifieeOf<DeviceIntfStatusDir> {
    public:
        virtual void handleDeviceIntfStatus(Nimb::IntfId const&) {}
    };

    // In the order in which the interfaces joined.
    auto const& deviceIntfStatus() const { return deviceIntfStatus_.map(); }
    // Null where the interface is not present.
    Zin::Ptr<DeviceIntfStatus> deviceIntfStatus(Nimb::IntfId const& intfId) const {
        return deviceIntfStatus_(intfId);
    }
    bool deviceIntfStatusHas(Nimb::IntfId const& intfId) const {
        return deviceIntfStatus_.has(intfId);
    }
    // Under its own interface. Throws NullArgumentError.
    void deviceIntfStatusIs(Zin::Ptr<DeviceIntfStatus> const& status) {
        deviceIntfStatus_.put(Zin::notNull("deviceIntfStatus", status.get())->intfId(), status);
    }
    Zin::Ptr<DeviceIntfStatus> deviceIntfStatusDel(Nimb::IntfId const& intfId) {
        return deviceIntfStatus_.del(intfId);
    }
    void deviceIntfStatusDelAll() { deviceIntfStatus_.delAll(); }

    Zin::NotifieeList<Notifiee>& notifieeList() const { return notifieeList_; }

private:
    mutable Zin::NotifieeList<Notifiee> notifieeList_;
    Zin::HashCollection<&Notifiee::handleDeviceIntfStatus, Nimb::IntfId, Zin::Ptr<DeviceIntfStatus>>
        deviceIntfStatus_{*this, 0x0fd6714e};
};

Zin::Ptr<DeviceIntfStatusDir> deviceIntfStatusDirFactory();

}  // namespace Interface
