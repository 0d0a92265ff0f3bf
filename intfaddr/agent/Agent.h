// The agent: keeps the tables of this machine right, from what its kernel says.
//
//   in     the kernel, through its feed
//   out    the router and its tables; the changes of the tables to whoever follows them; the
//          operations, for whoever records them; repairs
//   time   whoever runs the loop calls run() after each event, and when nextExpiry() has come; the
//          scheduler's clock stands at 0 when the agent begins, and at each thing's own time when
//          it is done, as it does in a replay of the same operations
//
// One at a time in a process: failed invariants find their way to it.
#pragma once

#include <memory>

#include "Pell/Assertion.h"
#include "feeds/netlink/Feed.h"
#include "feeds/scenario/Run.h"
#include "router/repair/Timeline.h"

namespace IntfAddr {

class Agent {
public:
    struct Options {
        Netlink::Feed::Options feed{};
        // Tasks yield by count, so that a replay yields alike.
        Scenario::Config config{.yieldEvery = 1000};
    };

    // Borrows the kernel and the observer, which may be null.
    Agent(Netlink::Kernel& kernel, Options const& options, Netlink::Notice notice,
          Routing::RepairObserver* repairs);
    ~Agent();
    Agent(Agent const&) = delete;
    Agent& operator=(Agent const&) = delete;

    Routing::Router& router() { return router_; }
    Routing::Supervisor& supervisor() { return supervisor_; }
    Netlink::Feed const& feed() const { return feed_; }
    // From now on (FollowerOptions).
    void coalesceIs(Zin::Seconds coalesce) { feed_.coalesceIs(coalesce); }
    Zin::Ptr<Zin::Clock const> clock() const { return clock_; }

    // Called before the first operation of each batch.
    void batchBeginsIs(std::function<void()> batchBegins) { batchBegins_ = std::move(batchBegins); }

    // In seconds since the agent began. What observers of the tables throw leaves run() when the
    // batch that they are told of has been done; what they make impossible is a notice.
    Zin::Seconds nextExpiry() const;
    void run(Zin::Seconds now);

    // One batch, at the time of the last run: the feed's, or what somebody else wants.
    void apply(std::vector<Routing::Operation> const& operations);

private:
    static void handleFailure(Pell::AssertionFailure const& failure);

    Netlink::Notice const notice_;
    std::function<void()> batchBegins_ = [] {};
    Zin::Ptr<Zin::VirtualClock> const clock_;
    Zin::Seconds now_ = 0.0;
    bool isIdle_ = true;  // nothing has been published in this run
    Routing::Router router_;
    Routing::Supervisor supervisor_;
    Pell::AssertionHandler const handlerBefore_;
    Routing::Timeline timeline_;
    Netlink::Feed feed_;
};

}  // namespace IntfAddr
