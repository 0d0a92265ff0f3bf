#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"

#include "IpLib/IntfAddrVrfTableSmTypes/Module.h"
#include "IpLib/IntfAddrVrfTableTypes/Module.h"
#include "Nimb/Module.h"
#include "Velk/Dump.h"
#include "Velk/Module.h"
#include "Zin/Module.h"

namespace IpLib {

Zin::ModuleRegistration const intfAddrVrfTableSmTypesModule{
    {.name = "IpLib::IntfAddrVrfTableSmTypes",
     .dependsOn = {&intfAddrVrfTableTypesModule, &Nimb::module, &Velk::module, &Zin::module},
     .types = {
         {
             .name = "IpLib::IntfAddrWithMaskKey",
             .attributes = {{"intfId", "Nimb::IntfId"},
                            {"addrWithMask", "Nimb::IpGenAddrWithMask"},
                            {"isV6LinkLocal", "bool"}},
         },
         {
             .name = "IpLib::IntfAddrWithMask",
             .attributes = {{"key", "IpLib::IntfAddrWithMaskKey"},
                            {.name = "deprecated",
                             .type = "bool",
                             .check =
                                 [](void const* record) {
                                     static_cast<IntfAddrWithMask const*>(record)
                                         ->handleDeprecated();
                                 }}},
         },
         {
             .name = "IpLib::IntfAddrWithMaskByIntfId",
             .attributes = {{"intfId", "Nimb::IntfId"}, {"byIntfId", "Zin::HashSet2018"}},
         },
         {
             .name = "IpLib::AllIntfAddrWithMask",
             .attributes = {{"all", "Zin::HashMap2018"}, {"byIntfId", "Zin::HashMap2018"}},
         },
     }}};

Zin::Ptr<IntfAddrWithMaskByIntfId> AllIntfAddrWithMask::byIntfId(Nimb::IntfId const& intfId) const {
    auto const* const record = byIntfId_.find(intfId);
    return record ? *record : nullptr;
}

Zin::Ptr<IntfAddrWithMaskByIntfId> AllIntfAddrWithMask::byIntfIdIs(Nimb::IntfId const& intfId) {
    if (auto const* const record = byIntfId_.find(intfId)) {
        return *record;
    }
    return byIntfId_.emplace(intfId, intfAddrWithMaskByIntfIdFactory(intfId)).value;
}

std::vector<IntfAddrWithMaskKey> AllIntfAddrWithMask::keysOf(IntfFamily const& whose) const {
    std::vector<IntfAddrWithMaskKey> keys;
    if (auto const record = byIntfId(whose.intfId)) {
        for (auto const& member : record->byIntfId()) {
            if (member.key.addrWithMask.family() == whose.af) {
                keys.push_back(member.key);
            }
        }
    }
    return keys;
}

void AllIntfAddrWithMask::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                    std::uint32_t indent) const {
    Velk::dumpLine(context, indent, "AllIntfAddrWithMask all count {} byIntfId count {}\n",
                   all().size(), byIntfId_.size());
    Velk::dumpList(context, indent, all(), all().size(), [&](auto const& member) {
        Velk::dumpLine(context, indent, "{}", member.value);
    });
    Velk::dumpList(context, indent, byIntfId_, byIntfId_.size(),
                   [&](auto const& member) { member.value->dumpState(context, indent + 2); });
}

Zin::Ptr<AllIntfAddrWithMask> allIntfAddrWithMaskFactory() {
    return Zin::make<AllIntfAddrWithMask>();
}

}  // namespace IpLib
