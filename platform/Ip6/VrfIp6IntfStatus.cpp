#include "Ip6/VrfIp6IntfStatus.h"

namespace Ip6 {

Zin::Ptr<VrfIp6IntfStatus> vrfIp6IntfStatusFactory() { return Zin::make<VrfIp6IntfStatus>(); }

}  // namespace Ip6
