#include "Ip6/IntfStatus.h"

#include <utility>

namespace Ip6 {

IntfStatus::IntfStatus(Nimb::IntfId intfId) : intfId_(std::move(intfId)) {}

Zin::Ptr<IntfStatus> intfStatusFactory(Nimb::IntfId const& intfId) {
    return Zin::make<IntfStatus>(intfId);
}

}  // namespace Ip6
