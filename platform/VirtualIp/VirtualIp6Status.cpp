#include "VirtualIp/VirtualIp6Status.h"

namespace VirtualIp {

Zin::Ptr<VirtualIp6Status> virtualIp6StatusFactory() { return Zin::make<VirtualIp6Status>(); }

}  // namespace VirtualIp
