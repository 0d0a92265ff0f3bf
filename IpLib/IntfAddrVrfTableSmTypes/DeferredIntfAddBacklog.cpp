#include "IpLib/IntfAddrVrfTableSmTypes/DeferredIntfAddBacklog.h"

#include "Zin/Registry.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

Zin::TypeRegistration const registration{{
    .name = "IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog",
    .attributes = {{"backlog", "Zin::HashSet2018"}},
}};

}  // namespace

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
