#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"

#include "Velk/Dump.h"

namespace IpLib::IntfAddrVrfTableImpl {
void DeferredIntfAddBacklog::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                       std::uint32_t indent) const {
    Velk::dumpLine(context, indent, "backlog has {} items\n", backlog().size());
    Velk::dumpList(context, indent, backlog(), backlog().size(), [&](auto const& member) {
        Velk::dumpLine(context, indent, "[ {} ]", member.key);
    });
}

Zin::Ptr<DeferredIntfAddBacklog> deferredIntfAddBacklogFactory() {
    return Zin::make<DeferredIntfAddBacklog>();
}

}  // namespace IpLib::IntfAddrVrfTableImpl
