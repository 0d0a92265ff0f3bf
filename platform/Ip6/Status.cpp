#include "Ip6/Status.h"

namespace Ip6 {

Zin::Ptr<Status> statusFactory() { return Zin::make<Status>(); }

}  // namespace Ip6
