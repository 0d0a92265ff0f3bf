#include "router/repair/Rebuild.h"

#include <utility>

#include "IpLib/IntfAddrVrfTableSm/AddressPlacement.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Turn.h"
#include "router/repair/Succession.h"

namespace Routing {

using IpLib::IntfAddrVrfTable;
using IpLib::IntfAddrVrfTableSm;
using IpLib::IntfAddrWithMask;
using IpLib::IntfAddrWithMaskKey;
using IpLib::IntfAddrVrfTableImpl::Place;
using IpLib::IntfAddrVrfTableImpl::Standing;

void silence(Zin::Ptr<IntfAddrVrfTableSm> const& machine) {
    if (machine && machine->allIntfAddrWithMask()) {
        // Emptied, so that its teardown has nothing left to withdraw.
        machine->allIntfAddrWithMaskDel()->allDelAll();
    }
}

Rebuild::Rebuild(Router& router, L3::VrfName vrf)
    : router_(router),
      vrf_(std::move(vrf)),
      published_(router.published(vrf_)),
      old_(router.table(vrf_)),
      fresh_(IpLib::intfAddrVrfTableFactory()) {}

void Rebuild::takeAway() {
    auto const machine = router_.tableSm(vrf_);
    silence(machine);
    if (machine && machine->deferredIntfAddBacklog()) {
        for (auto const& member : machine->deferredIntfAddBacklog()->backlog()) {
            waiting_.push_back(member.key);
        }
    }
    router_.tables()->intfAddrVrfTableDel(vrf_);
}

bool Rebuild::put() {
    if (router_.tables()->intfAddrVrfTable(vrf_)) {
        return false;
    }
    if (!router_.managerRuns()) {
        router_.tables()->intfAddrVrfTableIs(vrf_, old_);
        return false;
    }
    Zin::Turn turn;
    turn.run([this] { fill(); });
    turn.run([this] { router_.tables()->intfAddrVrfTableIs(vrf_, fresh_); });
    if (auto const machine = router_.tableSm(vrf_)) {
        keepRefused(*machine);
        keepQueue(*machine);
    }
    return true;
}

void Rebuild::fill() {
    IpLib::IntfAddrVrfTableImpl::DeferredAdds deferred(*fresh_, fresh_.get());
    deferred.backlog().make();
    IpLib::IntfAddrVrfTableImpl::AddressPlacement placement(fresh_.get(), deferred);
    for (auto const& addr : succession(published_, *old_, waiting_)) {
        // Whoever finds the way taken is left to the machine, which has it wait.
        Place const place(addr.key());
        auto const standing = standingOf(*fresh_, place);
        if (standing.conflict == Standing::Conflict::none && !standing.row) {
            placement.admit(place, addr.deprecated());
        }
    }
}

// Its machine was refused the address, and would not hear of its going.
void Rebuild::keepRefused(IntfAddrVrfTableSm& machine) const {
    for (auto const& member : fresh_->llIntfAddrEntryFromIntfId()) {
        IpLib::IntfAddrEntry const& row = *member.value;
        IntfAddrWithMaskKey const key{row.intfId(), {row.key().addr, row.subnet().prefixLength()}};
        if (machine.allIntfAddrWithMask() && !machine.allIntfAddrWithMask()->allHas(key)) {
            machine.allIntfAddrWithMask()->allIs(IntfAddrWithMask(key));
        }
    }
}

void Rebuild::keepQueue(IntfAddrVrfTableSm& machine) const {
    auto const& backlog = machine.deferredIntfAddBacklog();
    if (waiting_.empty() || !backlog) {
        return;
    }
    std::vector<IntfAddrWithMaskKey> queue;
    for (auto const& key : waiting_) {
        if (backlog->backlogHas(key)) {
            queue.push_back(key);
            backlog->backlogDel(key);
        }
    }
    for (auto const& member : backlog->backlog()) {
        queue.push_back(member.key);
    }
    backlog->backlogDelAll();
    for (auto const& key : queue) {
        backlog->backlogIs(key);
    }
}

}  // namespace Routing
