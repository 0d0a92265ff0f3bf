#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntry.h"

#include "Zin/Registry.h"

namespace IpLib {
namespace {

Zin::TypeRegistration const registration{{
    .name = "IpLib::IntfAddrEntry",
    .attributes = {{"key", "IpLib::IntfAddrEntryKey"},
                   {"intfId", "Nimb::IntfId"},
                   {"subnet", "Nimb::IpGenPrefix"}},
}};

}  // namespace

Zin::Ptr<IntfAddrEntry> intfAddrEntryFactory(IntfAddrEntryContent const& content) {
    return Zin::make<IntfAddrEntry>(content);
}

}  // namespace IpLib
