#include "Judge.h"

#include <algorithm>

#include "AddressFaults.h"
#include "IndexFaults.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"

namespace Healing {
namespace {

// By how much a clean-up may be late.
constexpr Zin::Seconds grace = 1.0;

void findOverdueCleanups(TableView const& view, Zin::Seconds now, Zin::Seconds delay,
                         Faults& faults) {
    auto const& backlog = view.machine.intfCleanupBacklog();
    if (!backlog) {
        return;
    }
    for (auto const& member : backlog->backlog()) {
        Zin::Seconds const since = member.value->emplacementTime();
        if (since + std::max(delay, 0.0) + grace < now) {
            faults.add("clean-up overdue", "{} {} since {}", member.key.intfId, member.key.af,
                       since);
        }
    }
}

void judgeTable(TableView const& view, Faults& faults) {
    findUnfoundedRows(view, faults);
    findLostAddresses(view, faults);
    findIdleWaiters(view, faults);
    findFaultsByAddress(view, faults);
    findFaultsOfSets(view, faults);
    findFaultsOfLinkLocals(view, faults);
}

void judgeVrf(Book::Vrf const& vrf, L3::VrfName const& name, Routing::Router& router,
              IpLib::IntfAddrVrfTableSmConfig const& config, Faults& faults) {
    auto const uses =
        router.inputs().kniIntfStatusHelper()->uses(name, "IpLib::IntfAddrVrfTableSmFactory");
    if (uses != vrf.kernelUses) {
        faults.add("kernel directory", "it is used {} times, and should be {}", uses,
                   vrf.kernelUses);
    }
    auto const table = router.tables()->intfAddrVrfTable(name);
    if (static_cast<bool>(table) != vrf.hasTable) {
        faults.add("table", "there is one: {}", static_cast<bool>(table));
        return;
    }
    if (!table) {
        return;
    }
    auto const machine = router.tableSm(name);
    if (!machine) {
        faults.add("machine", "none runs");
        return;
    }
    TableView const view{.book = vrf,
                         .published = publishedAddrs(vrf),
                         .table = *table,
                         .machine = *machine,
                         .ignoresKernel = config.ignoreKernelInterfaceState};
    judgeTable(view, faults);
    findOverdueCleanups(view, router.scheduler()->now(), config.intfCleanupDelay, faults);
}

}  // namespace

void judge(Book const& book, Routing::Router& router, IpLib::IntfAddrVrfTableSmConfig const& config,
           Faults& faults) {
    for (auto const& [name, vrf] : book.vrfs()) {
        faults.whereIs(fmt::format("{}: ", name));
        judgeVrf(vrf, name, router, config, faults);
    }
    faults.whereIs("");
}

}  // namespace Healing
