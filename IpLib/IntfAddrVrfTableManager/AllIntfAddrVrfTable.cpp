#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"

#include "IpLib/IntfAddrVrfTableTypes/SortedMembers.h"
#include "Velk/Dump.h"

namespace IpLib {
void AllIntfAddrVrfTable::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                    std::uint32_t indent) const {
    std::uint32_t const member = indent + 2;
    auto const& tables = intfAddrVrfTable();
    Velk::dumpLine(context, indent, "AllIntfAddrVrfTable\n");
    Velk::dumpLine(context, member, "has {} tables\n", tables.size());
    Velk::dumpList(context, member, sortedMembers(tables), tables.size(), [&](auto const* table) {
        Velk::dumpLine(context, member, "IntfAddrVrfTable for vrf {}\n", table->key);
        table->value->dumpState(context, indent + 4);
    });
}

Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTableFactory() {
    return Zin::make<AllIntfAddrVrfTable>();
}

}  // namespace IpLib
