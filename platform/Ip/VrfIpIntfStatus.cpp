#include "Ip/VrfIpIntfStatus.h"

namespace Ip {

Zin::Ptr<VrfIpIntfStatus> vrfIpIntfStatusFactory() { return Zin::make<VrfIpIntfStatus>(); }

}  // namespace Ip
