#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"

#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/SortedMembers.h"
#include "Velk/Dump.h"
#include "Zin/ForEachKey.h"
#include "Zin/Turn.h"

namespace IpLib {
IntfAddrVrfTableSmManager::IntfAddrVrfTableSmManager(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> allIntfAddrVrfTable)
    : smFactory_(Zin::notNull("smFactory", std::move(smFactory))),
      allIntfAddrVrfTable_(Zin::notNull("allIntfAddrVrfTable", std::move(allIntfAddrVrfTable))),
      tableReactor_(*this, allIntfAddrVrfTable_) {}

bool IntfAddrVrfTableSmManager::builtFrom(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) const {
    return smFactory_ == smFactory && allIntfAddrVrfTable_ == allIntfAddrVrfTable;
}

void IntfAddrVrfTableSmManager::hasNotificationActiveIs(bool active) {
    Entity::hasNotificationActiveIs(active);
    tableReactor_.hasNotificationActiveIs(active);
}

void IntfAddrVrfTableSmManager::handleInitialized() {
    trace8("{} tables", allIntfAddrVrfTable_->intfAddrVrfTable().size());
    Zin::forEachKey(allIntfAddrVrfTable_->intfAddrVrfTable(),
                    [this](auto const& vrf) { handleIntfAddrVrfTable(vrf); });
}

void IntfAddrVrfTableSmManager::handleDestruction() {
    Zin::Turn turn;
    // By table rather than by machine: what was acquired for a machine that was refused, or that is
    // being made, is given back too. By the tables of now: one that an observer of what leaves
    // takes out of the directory meanwhile is not heard of any more.
    std::vector<L3::VrfName> vrfs;
    for (auto const& member : allIntfAddrVrfTable_->intfAddrVrfTable()) {
        vrfs.push_back(member.key);
    }
    for (L3::VrfName const& vrf : vrfs) {
        Zin::FaultDomain const domain(vrf.bytes());
        turn.run([&] { intfAddrVrfTableSmDel(vrf); });
        turn.run([&] { smFactory_->unmake(vrf); });
    }
}

void IntfAddrVrfTableSmManager::handleIntfAddrVrfTable(L3::VrfName const& vrf) {
    Zin::FaultDomain const domain(vrf.bytes());
    auto const table = allIntfAddrVrfTable_->intfAddrVrfTable(vrf);
    trace8("vrf {} isTablePresent {}", vrf, static_cast<bool>(table));
    if (!table) {
        Zin::Turn turn;
        turn.run([&] { intfAddrVrfTableSmDel(vrf); });
        turn.run([&] { smFactory_->unmake(vrf); });
        return;
    }
    auto const present = intfAddrVrfTableSm(vrf);
    auto const sm = smFactory_->make(vrf, table);
    // Filling the table may have made an observer of it take the table away, or put in another one
    // or the same again, which has its machine by now: then this machine has no table to run for.
    if (!retired() && allIntfAddrVrfTable_->intfAddrVrfTable(vrf) == table &&
        intfAddrVrfTableSm(vrf) == present) {
        intfAddrVrfTableSmIs(vrf, sm);
    } else if (sm) {
        if (table->filler() && table->filler() != sm.get()) {
            // Its last words would take along what another machine has taken over.
            sm->allIntfAddrWithMaskDel();
        }
        sm->retire();
    }
}

void IntfAddrVrfTableSmManager::dumpState(Zin::Ptr<Velk::DumpContext const> const& context,
                                          std::uint32_t indent) const {
    std::uint32_t const member = indent + 2;
    auto const& machines = intfAddrVrfTableSm();
    Velk::dumpLine(context, indent, "IntfAddrVrfTableSmManager\n");
    Velk::dumpLine(context, member, "has {} IntfAddrVrfTableSm\n", machines.size());
    Velk::dumpList(context, member, sortedMembers(machines), machines.size(),
                   [&](auto const* machine) { machine->value->dumpState(context, member); });
}

Zin::Ptr<IntfAddrVrfTableSmManager> intfAddrVrfTableSmManagerFactory(
    Zin::Ptr<IntfAddrVrfTableSmAbstractFactory> const& smFactory,
    Zin::Ptr<AllIntfAddrVrfTable> const& allIntfAddrVrfTable) {
    return Zin::make<IntfAddrVrfTableSmManager>(smFactory, allIntfAddrVrfTable);
}

}  // namespace IpLib
