#include "Ip/IpIntfStatus.h"

#include <utility>

namespace Ip {

IpIntfStatus::IpIntfStatus(Nimb::IntfId intfId) : intfId_(std::move(intfId)) {}

Zin::Ptr<IpIntfStatus> ipIntfStatusFactory(Nimb::IntfId const& intfId) {
    return Zin::make<IpIntfStatus>(intfId);
}

}  // namespace Ip
