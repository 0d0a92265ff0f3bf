#include "Interface/DeviceIntfStatus.h"

#include <utility>

namespace Interface {

DeviceIntfStatus::DeviceIntfStatus(Nimb::IntfId intfId, std::string deviceName,
                                   std::uint32_t ifIndex, OperStatus operStatus, bool active)
    : intfId_(std::move(intfId)),
      deviceName_(std::move(deviceName)),
      ifIndex_(ifIndex),
      operStatus_(operStatus),
      active_(active) {}

Zin::Ptr<DeviceIntfStatus> deviceIntfStatusFactory(Nimb::IntfId const& intfId,
                                                   std::string const& deviceName,
                                                   std::uint32_t ifIndex, OperStatus operStatus,
                                                   bool active) {
    return Zin::make<DeviceIntfStatus>(intfId, deviceName, ifIndex, operStatus, active);
}

}  // namespace Interface
