#include "IpLib/IntfAddrVrfTableSmTypes/AllIntfAddrWithMask.h"

#include "Zin/Registry.h"

namespace IpLib {
namespace {

Zin::ModuleRegistration const module{
    {.name = "IpLib::IntfAddrVrfTableSmTypes",
     .dependsOn = {"IpLib::IntfAddrVrfTableTypes", "Nimb", "Velk", "Zin"}}};

Zin::TypeRegistration const registration{{
    .name = "IpLib::AllIntfAddrWithMask",
    .attributes = {{"all", "Zin::HashMap2018"}, {"byIntfId", "Zin::HashMap2018"}},
}};

}  // namespace

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
