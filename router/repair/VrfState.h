// The state of one VRF as operations that make it again on a router that is empty, and whose
// manager runs: what is published, who has which address and subnet, and what waits, in its order.
//
//   in     the VRF's status, table and machine, of which each step looks at one member
//   out    operations, written in an order that leaves everybody what he has:
//
//     devices, interfaces
//     the rows that stand in their own interface's subnets, and the link-local ones
//     what a subnet's interface publishes in it, where a row of the next kind would take the subnet
//     the other rows: of deprecated addresses that have outlived their subnet
//     virtual addresses
//     with Times::kept: the clean-ups that are pending    v
//     what waits, in its order                            v each when it came
//     whatever else is published
//
// With Times::kept the rows of what has gone stand too, until their clean-up is due, and the try of
// what waits is due when it is here: times start at 0, and `elapsed` says when the state is the one
// of now. What waits, and whose interface left before the try was asked for, waits from the start;
// what waits although its way is free by now, for the next try alone, comes without it.
//
// Steps may be taken one by one while the VRF changes: then what is written may be half of one
// state and half of another. Whoever needs to know looks for changes meanwhile.
//
// Borrows the router.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"
#include "router/Router.h"
#include "router/Steps.h"
#include "router/repair/RecordedOperation.h"

namespace Routing {

class VrfState {
public:
    using Write = std::function<void(RecordedOperation)>;
    enum class Times { left, kept };

    VrfState(Router const& router, L3::VrfName vrf, Times times, Write write);

    // Returns whether there is more to do.
    bool step();
    // From the first operation to the present; known once all is written.
    Zin::Seconds elapsed() const { return elapsed_; }

private:
    using Key = IpLib::IntfAddrWithMaskKey;
    using Each = std::function<void(Key const& key, bool deprecated)>;
    using Phase = void (VrfState::*)();

    // Each leaves walks to do.
    static std::vector<Phase> const& phases();
    void devices();
    void interfaces();
    void rows();
    void subnetsOfOwners();
    void otherRows();
    void virtualAddresses();
    void waitingThatLeftBefore();
    void cleanUpsBeforeTheWait();
    void cleanUpsSince();
    void cleanUps(bool (*isMeant)(Zin::Seconds since, Zin::Seconds cameToWait));
    void cleanUp(IpLib::IntfAddrVrfTableImpl::IntfCleanupEntry const& entry);
    void waiting();
    void rest();

    void forEachPublished(Each const& each);
    // As what the row's address is published, or stands until its clean-up; nothing where it does
    // neither.
    std::optional<std::pair<Key, bool>> writtenAs(IpLib::IntfAddrEntry const& row) const;
    bool hasStatus(IpLib::IntfFamily const& intfFamily) const;
    bool isLeaving(Nimb::IntfId const& intf, Nimb::AddressFamily family) const;
    bool leftBeforeTheWait(Key const& key) const;
    bool isWaiting(Key const& key) const;
    void write(Operation operation);
    void writeAddress(Key const& key, bool deprecated);
    Zin::Seconds now() const { return router_.scheduler()->now(); }

    Router const& router_;
    L3::VrfName const vrf_;
    Write const write_;
    Published const published_;
    Zin::Ptr<IpLib::IntfAddrVrfTable> const table_;  // an empty one where the VRF has none
    Zin::Ptr<IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog> waiting_;
    Zin::Ptr<IpLib::IntfAddrVrfTableImpl::IntfCleanupBacklog> leaving_;  // null without times

    std::size_t phase_ = 0;
    Steps steps_;
    Zin::Seconds origin_ = 0.0;         // what is 0 in what is written
    Zin::Seconds cameToWait_ = 0.0;     // when the try that is due was asked for
    std::optional<Zin::Seconds> at_{};  // of the next operation
    Zin::Seconds elapsed_ = 0.0;
    std::vector<std::pair<Key, bool>> others_;
    std::set<Nimb::IpGenPrefix> subnetsOfOthers_;
    std::set<Key> early_;  // that own the subnets of others
    // Of interfaces that leave, but for their status.
    std::map<IpLib::IntfFamily, std::vector<Key>> withdrawn_;
    std::set<Nimb::IntfId> goneDevices_;
};

}  // namespace Routing
