#include "intfaddr/Machine.h"

#include <exception>
#include <functional>
#include <set>
#include <variant>

#include "Zin/Format.h"
#include "feeds/netlink/LiveKernel.h"
#include "intfaddr/loop/EventLoop.h"
#include "router/EffectOf.h"

namespace IntfAddr {

namespace {

// Whatever is wrong with one VRF, a failed assertion included, the others are shown.
class Publisher {
public:
    Publisher(Routing::Router& router, Netlink::Notice const& warn)
        : router_(router), warn_(warn) {}

    void publish(std::vector<Routing::Operation> const& operations) {
        for (auto const& operation : operations) {
            std::visit(
                [&](auto const& one) {
                    if constexpr (requires { one.vrf; }) {
                        publish(operation, one.vrf);
                    }
                },
                operation);
        }
    }

private:
    void publish(Routing::Operation const& operation, L3::VrfName const& vrf) {
        if (!failed_.contains(vrf)) {
            tryTo(vrf, [&] { effectOf(router_, operation).apply(); });
        }
    }

    void tryTo(L3::VrfName const& vrf, std::function<void()> const& step) {
        try {
            step();
        } catch (std::exception const& error) {
            warn_(fmt::format("VRF '{}' is left out: {}", vrf, error.what()));
            if (failed_.insert(vrf).second && router_.tables()->intfAddrVrfTableHas(vrf)) {
                tryTo(vrf, [&] { router_.tableDel(vrf).apply(); });
            }
        }
    }

    Routing::Router& router_;
    Netlink::Notice const& warn_;
    std::set<L3::VrfName> failed_;
};

}  // namespace

void publishMachine(Routing::Router& router, Netlink::Feed::Options const& options,
                    Netlink::Notice const& warn, Netlink::Notice const& notice,
                    std::function<void(Netlink::Feed const&)> const& look) {
    EventLoop loop;
    Netlink::LiveKernel kernel(loop);
    Publisher publisher(router, warn);
    auto once = options;
    once.watches = false;
    Netlink::Feed feed(
        kernel, once, [&publisher](auto const& operations) { publisher.publish(operations); },
        notice);
    for (feed.run(loop.now()); !feed.isStarted(); feed.run(loop.now())) {
        loop.wait(feed.nextExpiry());
    }
    look(feed);
}

}  // namespace IntfAddr
