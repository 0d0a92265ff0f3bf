#include "VirtualIp/VirtualIpStatus.h"

namespace VirtualIp {

Zin::Ptr<VirtualIpStatus> virtualIpStatusFactory() { return Zin::make<VirtualIpStatus>(); }

}  // namespace VirtualIp
