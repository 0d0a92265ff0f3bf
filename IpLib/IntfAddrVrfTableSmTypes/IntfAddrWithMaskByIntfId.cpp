#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskByIntfId.h"

#include "Velk/Dump.h"

namespace IpLib {
void IntfAddrWithMaskByIntfId::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                         std::uint32_t indent) const {
    // Promised without the "r" of "Addr".
    Velk::dumpLine(context, indent, "IntfAddWithMaskByIntfId for {} with count {}\n", intfId_,
                   byIntfId_.size());
    Velk::dumpList(context, indent, byIntfId_, byIntfId_.size(),
                   [&](auto const& member) { Velk::dumpLine(context, indent, "{}", member.key); });
}

Zin::Ptr<IntfAddrWithMaskByIntfId> intfAddrWithMaskByIntfIdFactory(Nimb::IntfId const& intfId) {
    return Zin::make<IntfAddrWithMaskByIntfId>(intfId);
}

}  // namespace IpLib
