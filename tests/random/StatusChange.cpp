#include "StatusChange.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "Velk/Advance.h"
#include "Zin/Format.h"
#include "router/OperationError.h"

namespace RandomStatus {
namespace {

constexpr std::uint8_t intfs = 3;

// What the numbers of a change mean under one plan.
class Meaning {
public:
    Meaning(Change const& change, Plan plan) : change_(change), plan_(plan) {}

    bool shared() const { return plan_ == Plan::shared; }
    Nimb::IntfId intf() const { return fmt::format("Ethernet{}", change_.intf % intfs); }

    Nimb::IpAddrWithMask primary(std::uint8_t n) const {
        if (n % 4 == 0) {
            return {};
        }
        return shared() ? sharedIp(n) : ip(0, n % 4, 24);
    }
    Nimb::IpAddrWithMask secondary(std::uint8_t n) const {
        return shared() ? sharedIp(n) : ip(n % 2, 10 + n % 3, 24);
    }
    Routing::Ip6IntfAddr ip6Addr(std::uint8_t n, std::uint8_t variant) const {
        bool const deprecated = variant % 3 == 0;
        if (n % 4 == 0) {
            // Two link-local addresses for an interface, and deprecated ones, in the shared plan.
            int const host = shared() ? 1 + n / 4 % 2 : 1 + change_.intf % intfs;
            return {ip6(fmt::format("fe80::{}/64", host)), shared() && deprecated};
        }
        if (shared()) {
            int const length = n % 2 == 0 ? 64 : 63;
            return {ip6(fmt::format("2001:db8::{}/{}", 1 + n / 4 % 2, length)), deprecated};
        }
        return {ip6(fmt::format("2001:db8:{}::{}/64", change_.intf % intfs, n % 4)), deprecated};
    }

private:
    Nimb::IpAddrWithMask ip(int net, int host, int length) const {
        return Nimb::IpAddrWithMask(
            fmt::format("10.{}.{}.{}/{}", change_.intf % intfs, net, host, length));
    }
    static Nimb::IpAddrWithMask sharedIp(std::uint8_t n) {
        return Nimb::IpAddrWithMask(
            fmt::format("10.0.0.{}/{}", 1 + n / 2 % 3, n % 2 == 0 ? 24 : 25));
    }
    static Nimb::Ip6AddrWithMask ip6(std::string const& text) {
        return Nimb::Ip6AddrWithMask(text);
    }

    Change const& change_;
    Plan const plan_;
};

Routing::Effect ipEffect(Change const& change, Meaning const& meaning, Routing::Inputs& inputs) {
    Nimb::IntfId const source = change.variant % 2 == 0 ? "" : "Loopback0";
    switch (change.kind % 6) {
        case 0: {
            Routing::IpIntf addressing{.primary = meaning.primary(change.addr),
                                       .unnumberedSource = change.variant % 5 == 0 ? source : ""};
            if (change.variant % 2 == 0) {
                addressing.secondary = {meaning.secondary(change.variant)};
            }
            return inputs.ipIntfAdd(vrf, meaning.intf(), addressing);
        }
        case 1:
            return inputs.ipIntfDel(vrf, meaning.intf());
        case 2:
            return inputs.ipPrimaryIs(vrf, meaning.intf(), meaning.primary(change.addr));
        case 3:
            return inputs.ipUnnumberedIs(vrf, meaning.intf(), source);
        case 4:
            return inputs.ipSecondaryAdd(vrf, meaning.intf(), meaning.secondary(change.addr));
        default:
            return inputs.ipSecondaryDel(vrf, meaning.intf(), meaning.secondary(change.addr));
    }
}

Routing::Effect ip6Effect(Change const& change, Meaning const& meaning, Routing::Inputs& inputs) {
    auto const addr = meaning.ip6Addr(change.addr, change.variant);
    switch (change.kind % 5) {
        case 0:
            return inputs.ip6IntfAdd(vrf, meaning.intf(), {addr});
        case 1:
            return inputs.ip6IntfDel(vrf, meaning.intf());
        case 2:
            return inputs.ip6AddrDel(vrf, meaning.intf(), addr.addr);
        default:
            return inputs.ip6AddrSet(vrf, meaning.intf(), addr);
    }
}

// A VRF's status, in the disjoint plan, leaves before another one comes: the interfaces of a status
// that is replaced while they are in it are nobody's any more.
Routing::Effect vrfEffect(Change const& change, Plan plan, Routing::Router& router) {
    auto& inputs = router.inputs();
    bool const replaces = plan == Plan::shared && change.addr % 2 == 0;
    switch (change.kind % 4) {
        case 0:
            if (replaces || !inputs.ipStatus()->vrfIpIntfStatus(vrf)) {
                return inputs.ipVrfAdd(vrf);
            }
            return inputs.ipVrfDel(vrf);
        case 1:
            if (replaces || !inputs.ip6Status()->vrfIp6IntfStatus(vrf)) {
                return inputs.ip6VrfAdd(vrf);
            }
            return inputs.ip6VrfDel(vrf);
        case 2:
            return change.variant % 2 == 0 ? router.tableAdd(vrf) : router.tableDel(vrf);
        default:
            // What changes while no manager runs is for nobody to notice.
            if (plan == Plan::shared) {
                return router.managerRuns() ? router.managerStop() : router.managerStart();
            }
            return [] {};
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Change const& change) {
    return out << fmt::format("{{{}, {}, {}, {}}}", change.kind, change.intf, change.addr,
                              change.variant);
}

void prepare(Routing::Router& router) {
    router.managerStart().apply();
    for (int n = 0; n < intfs; ++n) {
        router.inputs().kernelAdd(vrf, fmt::format("Ethernet{}", n), {}).apply();
    }
    router.inputs().ipVrfAdd(vrf).apply();
    router.inputs().ip6VrfAdd(vrf).apply();
    router.tableAdd(vrf).apply();
}

void apply(Change const& change, Plan plan, Routing::Router& router, Zin::VirtualClock& clock) {
    Meaning const meaning(change, plan);
    try {
        switch (change.kind / 8 % 8) {
            case 0:
            case 1:
            case 2:
                return ipEffect(change, meaning, router.inputs()).apply();
            case 3:
            case 4:
            case 5:
                return ip6Effect(change, meaning, router.inputs()).apply();
            case 6:
                return advance(change.variant % 16 / 4.0, router, clock);
            default:
                if (change.variant % 4 == 0) {
                    vrfEffect(change, plan, router).apply();
                }
        }
    } catch (Routing::OperationError const&) {
    }
}

void advance(Zin::Seconds seconds, Routing::Router& router, Zin::VirtualClock& clock) {
    Velk::advanceTo(clock, *router.scheduler(), clock.now() + seconds);
}

}  // namespace RandomStatus
