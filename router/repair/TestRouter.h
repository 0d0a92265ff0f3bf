// For tests: a router on a clock that the test moves, with VRF red; short ways to publish, and what
// has come of it as short texts.
//
//     TestRouter test;
//     test.ip("eth0", "10.0.0.1/24");
//     EXPECT_THAT(test.rows(), ElementsAre("10.0.0.1/24 eth0"));
//
// A failed assertion throws.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Pell/Assertion.h"
#include "Zin/Format.h"
#include "router/Router.h"

namespace Routing {

using Texts = std::vector<std::string>;

inline std::string text(IpLib::IntfAddrEntryContent const& row) {
    return fmt::format("{}/{} {}", row.key.addr,
                       row.key.virtualIp ? Nimb::maxPrefixLength(row.key.addr.family())
                                         : row.subnet.prefixLength(),
                       row.key.virtualIp ? "virtual" : row.intfId.name());
}

inline std::string text(IpLib::IntfAddrWithMaskKey const& key) {
    return fmt::format("{} {}", key.addrWithMask, key.intfId);
}

// All that a table holds, sorted: "row 10.0.0.1/24 eth0", "address 10.0.0.1/24 eth0",
// "subnet 10.0.0.0/24 eth0 10.0.0.1 (10.0.0.2)" with deprecated ones in brackets, and
// "link-local fe80::1/64 eth0".
inline Texts contentOf(IpLib::IntfAddrVrfTable const& table) {
    Texts texts;
    for (auto const& member : table.intfAddrEntry()) {
        texts.push_back("row " + text(member.key));
    }
    for (auto const& member : table.intfAddrEntryFromAddr()) {
        texts.push_back("address " + text(member.value->content()));
    }
    for (auto const& member : table.intfAddrEntrySetFromSubnet()) {
        std::string set = fmt::format("subnet {} {}", member.key, member.value->intfId());
        for (auto const& row : member.value->intfAddrEntry()) {
            set += fmt::format(" {}", row.key.addr);
        }
        for (auto const& row : member.value->deprecatedIntfAddrEntry()) {
            set += fmt::format(" ({})", row.key.addr);
        }
        texts.push_back(set);
    }
    for (auto const& member : table.llIntfAddrEntryFromIntfId()) {
        texts.push_back("link-local " + text(member.value->content()));
    }
    std::ranges::sort(texts);
    return texts;
}

class TestRouter {
public:
    explicit TestRouter(IpLib::IntfAddrVrfTableSmConfig const& config = {})
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)), inputs(router.inputs()) {
        router.managerStart().apply();
        vrf("red");
    }

    void vrf(L3::VrfName const& name) {
        router.tableAdd(name).apply();
        inputs.ipVrfAdd(name).apply();
        inputs.ip6VrfAdd(name).apply();
    }
    // The interface's primary address, in the place of what it had.
    void ip(Nimb::IntfId const& intf, char const* addr) {
        status(intf);
        inputs.ipPrimaryIs("red", intf, Nimb::IpAddrWithMask(addr)).apply();
    }
    void noIp(Nimb::IntfId const& intf) { inputs.ipPrimaryIs("red", intf, {}).apply(); }
    void secondary(Nimb::IntfId const& intf, char const* addr) {
        status(intf);
        inputs.ipSecondaryAdd("red", intf, Nimb::IpAddrWithMask(addr)).apply();
    }
    void ip6(Nimb::IntfId const& intf, char const* addr, bool deprecated = false) {
        status(intf);
        inputs
            .ip6AddrSet("red", intf,
                        {.addr = Nimb::Ip6AddrWithMask(addr), .deprecated = deprecated})
            .apply();
    }
    void noIp6(Nimb::IntfId const& intf, char const* addr) {
        inputs.ip6AddrDel("red", intf, Nimb::Ip6AddrWithMask(addr)).apply();
    }
    // Status without addresses, and the device.
    void status(Nimb::IntfId const& intf) {
        if (std::ranges::find(mentioned_, intf) == mentioned_.end()) {
            mentioned_.push_back(intf);
            inputs.kernelAdd("red", intf, {}).apply();
        }
        if (!inputs.ipStatus()->vrfIpIntfStatus("red")->ipIntfStatusHas(intf)) {
            inputs.ipIntfAdd("red", intf, {}).apply();
        }
        if (!inputs.ip6Status()->vrfIp6IntfStatus("red")->intfStatusHas(intf)) {
            inputs.ip6IntfAdd("red", intf, {}).apply();
        }
    }
    void advance(Zin::Seconds seconds) {
        Zin::Seconds const until = clock->now() + seconds;
        while (router.scheduler()->nextExpiry() <= until) {
            clock->nowIs(std::max(clock->now(), router.scheduler()->nextExpiry()));
            router.scheduler()->run();
        }
        clock->nowIs(until);
    }

    Zin::Ptr<IpLib::IntfAddrVrfTable> table() const { return router.table("red"); }
    Zin::Ptr<IpLib::IntfAddrVrfTableSm> machine() const { return router.tableSm("red"); }
    Texts content() const { return contentOf(*table()); }
    // The rows alone, sorted.
    Texts rows() const {
        Texts texts;
        for (auto const& member : table()->intfAddrEntry()) {
            texts.push_back(text(member.key));
        }
        std::ranges::sort(texts);
        return texts;
    }
    // What waits, in its order.
    Texts queue(L3::VrfName const& name = "red") const {
        Texts texts;
        if (auto const sm = router.tableSm(name)) {
            for (auto const& member : sm->deferredIntfAddBacklog()->backlog()) {
                texts.push_back(text(member.key));
            }
        }
        return texts;
    }

    Pell::ThrowOnAssertion const throwOnAssertion;
    Zin::Ptr<Zin::VirtualClock> const clock = Zin::make<Zin::VirtualClock>();
    Router router;
    Inputs& inputs;

private:
    std::vector<Nimb::IntfId> mentioned_;
};

}  // namespace Routing
