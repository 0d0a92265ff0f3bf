#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntry.h"

namespace IpLib {
Zin::Ptr<IntfAddrEntry> intfAddrEntryFactory(IntfAddrEntryContent const& content) {
    return Zin::make<IntfAddrEntry>(content);
}

}  // namespace IpLib
