// Follows what waits in each VRF: deferred addresses, and clean-ups of interfaces. The backlogs
// tell nobody of their changes, so they are asked where something has happened that may have
// changed them.
//
//   in     what has been touched: an address, an interface's family, a VRF; and time, when a
//          clean-up is due
//   out    for each that waits, and waits no more: what, and when it was touched; which address of
//          a VRF has waited for the longest
//
// It is asked once what touched it is over: catchUp() comes before the next thing is done to the
// router, and within a turn waits for its end. So that costs what was touched, however much waits.
// Nothing is told of what comes and goes in between.
//
// Owned by whoever observes. Borrows the router.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <variant>
#include <vector>

#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupBacklog.h"
#include "router/Router.h"

namespace IntfAddr {

class BacklogFollower {
public:
    using Key = IpLib::IntfAddrWithMaskKey;
    using IntfFamily = IpLib::IntfFamily;

    class Observer {
    public:
        virtual ~Observer() = default;
        virtual void handleDeferred(L3::VrfName const& vrf, Key const& key, bool waits,
                                    Zin::Seconds at) = 0;
        virtual void handleCleanup(L3::VrfName const& vrf, IntfFamily const& whose, bool waits,
                                   Zin::Seconds at) = 0;
    };

    BacklogFollower(Routing::Router const& router, Observer& observer)
        : router_(router), observer_(&observer) {}

    // What waits by now is known, and not told.
    void begin();

    void touch(L3::VrfName const& vrf, Key const& key) { note(vrf, key); }
    void touch(L3::VrfName const& vrf, IntfFamily const& whose) { note(vrf, whose); }
    // All that it has.
    void touch(L3::VrfName const& vrf) { note(vrf, std::monostate()); }
    void touchAll();

    // The row of an address has come, or is about to be told to have gone: what that says of those
    // that wait is told at once.
    void handleRow(L3::VrfName const& vrf, Key const& key, bool present);

    void catchUp();

    // An address that waits, and since when, as it is known: for what waited when it began, that is
    // then.
    struct Waiting {
        Key key;
        Zin::Seconds since;
    };
    // The one that has waited for the longest; nothing where none waits.
    std::optional<Waiting> longestWaiting(L3::VrfName const& vrf) const;

private:
    using Deferred = IpLib::IntfAddrVrfTableImpl::DeferredIntfAddBacklog;
    using Cleanups = IpLib::IntfAddrVrfTableImpl::IntfCleanupBacklog;
    struct OwnerOf {
        IntfFamily operator()(Key const& key, Zin::Seconds /*since*/) const {
            return {key.intfId, key.addrWithMask.family()};
        }
    };
    // What is known to wait in a VRF.
    struct Known {
        // In the order in which they came to wait, each with since when.
        Zin::Collection<Zin::Untold, Zin::HashMap2018<Key, Zin::Seconds>,
                        Zin::GroupIndex<OwnerOf, IntfFamily, Key>>
            deferred{Zin::Untold(), Zin::hashSeed() ^ 0x51c3a90d};
        std::set<IntfFamily> cleanups{};
    };
    struct Touched {
        Zin::Seconds at;
        L3::VrfName vrf;
        std::variant<std::monostate, Key, IntfFamily> what;
    };

    void note(L3::VrfName const& vrf, decltype(Touched::what) what);
    // Null where there is none.
    Zin::Ptr<Deferred> deferredOf(L3::VrfName const& vrf) const;
    Zin::Ptr<Cleanups> cleanupsOf(L3::VrfName const& vrf) const;

    void compare(Touched const& touched, std::monostate);
    void compare(Touched const& touched, Key const& key);
    void compare(Touched const& touched, IntfFamily const& whose);
    void compareCleanup(L3::VrfName const& vrf, IntfFamily const& whose, Zin::Seconds at);

    Routing::Router const& router_;
    Observer* const observer_;
    bool isTelling_ = true;
    std::map<L3::VrfName, Known> known_;
    std::vector<Touched> touched_;
    // Clean-ups that have been requested, in the order in which they are due.
    std::deque<Touched> due_;
};

}  // namespace IntfAddr
