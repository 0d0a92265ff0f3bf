#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntrySet.h"

#include "Velk/Dump.h"

namespace IpLib {
void IntfAddrEntrySet::intfAddrEntryIs(RowPtr const& entry) {
    intfAddrEntry_.put(Zin::notNull("intfAddrEntry", entry)->key(), entry);
}

void IntfAddrEntrySet::deprecatedIntfAddrEntryIs(RowPtr const& entry) {
    deprecatedIntfAddrEntry_.put(Zin::notNull("deprecatedIntfAddrEntry", entry)->key(), entry);
}

void IntfAddrEntrySet::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                 std::uint32_t indent) const {
    std::uint32_t const member = indent + 2;
    Velk::dumpLine(context, indent, "intfAddrEntry count {}\n", intfAddrEntry().size());
    Velk::dumpList(context, member, intfAddrEntry(), intfAddrEntry().size(), [&](auto const& row) {
        Velk::dumpLine(context, member, "[ {} ({})]\n", row.value->toStrep(), row.value);
    });
    auto const& deprecated = deprecatedIntfAddrEntry();
    Velk::dumpList(context, member, deprecated, deprecated.size(), [&](auto const& row) {
        Velk::dumpLine(context, member, "[ {} ({} )]\n", row.value->toStrep(), row.value);
    });
}

Zin::Ptr<IntfAddrEntrySet> intfAddrEntrySetFactory(Nimb::IntfId const& intfId,
                                                   Nimb::IpGenPrefix const& subnet) {
    return Zin::make<IntfAddrEntrySet>(intfId, subnet);
}

}  // namespace IpLib
