#include "Ip/Status.h"

namespace Ip {

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip
