#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntrySet.h"

#include "Zin/Registry.h"

namespace IpLib {
namespace {

Zin::TypeRegistration const registration{{
    .name = "IpLib::IntfAddrEntrySet",
    .attributes = {{"intfId", "Nimb::IntfId"},
                   {"subnet", "Nimb::IpGenPrefix"},
                   {"intfAddrEntry", "Zin::RbTreeMap"},
                   {"deprecatedIntfAddrEntry", "Zin::RbTreeMap"}},
}};

}  // namespace

void IntfAddrEntrySet::intfAddrEntryIs(Row const& entry) {
    intfAddrEntry_.isMember(Zin::notNull("intfAddrEntry", entry)->key(), entry);
}

void IntfAddrEntrySet::deprecatedIntfAddrEntryIs(Row const& entry) {
    deprecatedIntfAddrEntry_.isMember(Zin::notNull("deprecatedIntfAddrEntry", entry)->key(), entry);
}

Zin::Ptr<IntfAddrEntrySet> intfAddrEntrySetFactory(Nimb::IntfId const& intfId,
                                                   Nimb::IpGenPrefix const& subnet) {
    return Zin::make<IntfAddrEntrySet>(intfId, subnet);
}

}  // namespace IpLib
