// What the kernel says of one interface of a network namespace. It never changes: news of an
// interface is a new object in its directory.
#pragma once

#include <cstdint>
#include <string>

#include "Interface/OperStatus.h"
#include "Nimb/IntfId.h"
#include "Zin/Ptr.h"

namespace Interface {

class DeviceIntfStatus final : public Zin::Entity {
public:
    // Each is what the query of its name returns.
    DeviceIntfStatus(Nimb::IntfId intfId, std::string deviceName, std::uint32_t ifIndex,
                     OperStatus operStatus, bool active);

    Nimb::IntfId const& intfId() const { return intfId_; }
    // The kernel's name of the interface, which may differ from ours.
    std::string const& deviceName() const { return deviceName_; }
    // The kernel's number of the interface; 0 where it is not known.
    std::uint32_t ifIndex() const { return ifIndex_; }
    OperStatus operStatus() const { return operStatus_; }
    // Whether the interface is administratively up.
    bool active() const { return active_; }

private:
    Nimb::IntfId const intfId_;
    std::string const deviceName_;
    std::uint32_t const ifIndex_;
    OperStatus const operStatus_;
    bool const active_;
};

Zin::Ptr<DeviceIntfStatus> deviceIntfStatusFactory(Nimb::IntfId const& intfId,
                                                   std::string const& deviceName,
                                                   std::uint32_t ifIndex, OperStatus operStatus,
                                                   bool active);

}  // namespace Interface
