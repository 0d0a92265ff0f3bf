#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

#include <optional>

#include "Ip/Module.h"
#include "Ip6/IntfStatus.h"
#include "Ip6/Module.h"
#include "IpLib/IntfAddrVrfTableTypes/Module.h"
#include "Nimb/Module.h"
#include "Velk/Dump.h"
#include "Velk/Module.h"
#include "Zin/Module.h"

namespace IpLib {

Zin::ModuleRegistration const intfAddrVrfTableTypesModule{
    {.name = "IpLib::IntfAddrVrfTableTypes",
     .dependsOn = {&Ip::module, &Ip6::module, &Nimb::module, &Velk::module, &Zin::module}}};

Zin::Ptr<IntfAddrEntry> IntfAddrVrfTable::intfAddrEntryIs(IntfAddrEntryContent const& content) {
    return intfAddrEntry_.findOrMake(content, [&] { return intfAddrEntryFactory(content); });
}

void IntfAddrVrfTable::intfAddrEntryFromAddrIs(RowPtr const& entry) {
    intfAddrEntryFromAddr_.put(Zin::notNull("intfAddrEntryFromAddr", entry)->key(), entry);
}

void IntfAddrVrfTable::intfAddrEntrySetFromSubnetIs(SetPtr const& set) {
    intfAddrEntrySetFromSubnet_.put(Zin::notNull("intfAddrEntrySetFromSubnet", set)->subnet(), set);
}

void IntfAddrVrfTable::llIntfAddrEntryFromIntfIdIs(RowPtr const& entry) {
    llIntfAddrEntryFromIntfId_.put(Zin::notNull("llIntfAddrEntryFromIntfId", entry)->intfId(),
                                   entry);
}

IntfAddrVrfTable::RowPtr IntfAddrVrfTable::lowestV6IntfAddrEntry(
    Nimb::IntfId const& srcIntfId) const {
    auto const& vrfStatus = vrfIp6IntfStatus();
    auto const status = vrfStatus ? vrfStatus->intfStatus(srcIntfId) : nullptr;
    if (!status) {
        return nullptr;
    }
    std::optional<Nimb::Ip6Addr> lowest;
    for (auto const& member : status->addr()) {
        Nimb::Ip6Addr const addr = member.key.address();
        if (!addr.isLinkLocal() && (!lowest || addr < *lowest)) {
            lowest = addr;
        }
    }
    if (!lowest) {
        return nullptr;
    }
    return intfAddrEntryFromAddr(IntfAddrEntryKey::makeIpKey(*lowest));
}

void IntfAddrVrfTable::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                 std::uint32_t indent) const {
    std::uint32_t const member = indent + 2;
    std::uint32_t const memberOfSet = indent + 4;
    Velk::dumpLine(context, indent, "intfAddrEntry count {}\n", intfAddrEntry().size());
    for (auto const& [content, row] : intfAddrEntry()) {
        Velk::dumpLine(context, member, "{} = [ {} ]\n", row, content);
    }
    Velk::dumpLine(context, indent, "intfAddrEntryFromAddr count {}\n",
                   intfAddrEntryFromAddr().size());
    for (auto const& [key, row] : intfAddrEntryFromAddr()) {
        Velk::dumpLine(context, member, "{} = [ {} ]\n", row, key);
    }
    Velk::dumpLine(context, indent, "intfAddrEntrySetFromSubnet count {}\n",
                   intfAddrEntrySetFromSubnet().size());
    for (auto const& [subnet, set] : intfAddrEntrySetFromSubnet()) {
        Velk::dumpLine(context, member, "{} = [ {} ][ {} ][ count {} ]\n", set, subnet,
                       set->intfId(), set->intfAddrEntry().size());
        for (auto const& [key, row] : set->intfAddrEntry()) {
            Velk::dumpLine(context, memberOfSet, "{} = [ {} ]\n", row, row->content());
        }
    }
    Velk::dumpLine(context, indent, "llIntfAddrEntryFromIntfId count {}\n",
                   llIntfAddrEntryFromIntfId().size());
    for (auto const& [intfId, row] : llIntfAddrEntryFromIntfId()) {
        Velk::dumpLine(context, member, "{} = [ {} ][ {} ]\n", row, intfId, row->key().addr);
    }
}

Zin::Ptr<IntfAddrVrfTable> intfAddrVrfTableFactory() { return Zin::make<IntfAddrVrfTable>(); }

}  // namespace IpLib
