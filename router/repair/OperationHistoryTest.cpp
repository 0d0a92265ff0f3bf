#include "router/repair/OperationHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "Zin/Turn.h"
#include "router/EffectOf.h"
#include "router/TestOperations.h"
#include "router/repair/TestRouter.h"

namespace Routing {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// A router whose operations are recorded from the first on.
struct Fixture final : OperationObserver {
    explicit Fixture(std::size_t bound = 1000)
        : router({}, clock, std::make_unique<Velk::EveryNth>(0)),
          history(started(router), bound),
          inputs(router.inputs()) {
        inputs.effects().observerAdd(*this);
    }
    ~Fixture() override { inputs.effects().observerDel(*this); }

    static Router const& started(Router& router) {
        router.managerStart().apply();
        return router;
    }
    void handleOperation(Operation const& operation) override { history.record(operation); }

    void at(Zin::Seconds time) {
        clock->nowIs(time);
        if (router.scheduler()->nextExpiry() <= time) {
            history.tasksRan();
            router.scheduler()->run();
        }
    }
    void vrf() {
        router.tableAdd("red").apply();
        inputs.ipVrfAdd("red").apply();
    }
    void ip(char const* intf, char const* addr) {
        if (!inputs.kniIntfStatusHelper()->deviceIntfStatusDir("red")->deviceIntfStatusHas(intf)) {
            inputs.kernelAdd("red", intf, {}).apply();
            inputs.ipIntfAdd("red", intf, {}).apply();
        }
        inputs.ipPrimaryIs("red", intf, Nimb::IpAddrWithMask(addr)).apply();
    }

    Zin::Ptr<Zin::VirtualClock> const clock = Zin::make<Zin::VirtualClock>();
    Router router;
    OperationHistory history;
    Inputs& inputs;
};

Texts texts(std::vector<RecordedOperation> const& operations) {
    Texts all;
    for (auto const& [at, operation] : operations) {
        all.push_back((at ? fmt::format("at {}: ", *at) : "") + text(operation));
    }
    return all;
}

std::vector<RecordedOperation> listOf(Recording const& recording) {
    std::vector<RecordedOperation> list;
    for (std::size_t i = 0; i < recording.size(); ++i) {
        list.push_back(recording[i]);
    }
    return list;
}

Texts texts(Recording const& recording) { return texts(listOf(recording)); }

// What is published of a VRF, interfaces in their order.
Texts publishedOf(Inputs const& inputs, L3::VrfName const& vrf) {
    Texts texts;
    if (auto const status = inputs.ipStatus()->vrfIpIntfStatus(vrf)) {
        texts.push_back("IPv4");
        for (auto const& [intf, addressing] : status->ipIntfStatus()) {
            texts.push_back(fmt::format("{} {} from '{}'", intf, addressing->activeAddrWithMask(),
                                        addressing->unnumberedIntfId()));
            for (auto const& addr : addressing->secondaryActiveAddrWithMask()) {
                texts.push_back(fmt::format("{} secondary {}", intf, addr.key));
            }
        }
    }
    if (auto const status = inputs.ip6Status()->vrfIp6IntfStatus(vrf)) {
        texts.push_back("IPv6");
        for (auto const& [intf, addrs] : status->intfStatus()) {
            std::set<std::string> sorted;
            for (auto const& [addr, info] : addrs->addr()) {
                sorted.insert(fmt::format("{} {}{}", intf, addr, info.deprecated ? " old" : ""));
            }
            texts.push_back(fmt::format("{}", intf));
            texts.insert(texts.end(), sorted.begin(), sorted.end());
        }
    }
    auto const devices = inputs.kniIntfStatusHelper()->deviceIntfStatusDir(vrf);
    for (auto const& [intf, device] : devices->deviceIntfStatus()) {
        texts.push_back(fmt::format("device {} {} {} {} {}", intf, device->deviceName(),
                                    device->ifIndex(), toStrep(device->operStatus()),
                                    device->active()));
    }
    for (auto const& vip : inputs.virtualIpStatus()->virtualIp()) {
        if (vip.key.vrfName() == vrf) {
            texts.push_back(fmt::format("virtual {}", vip.key.addrWithMask()));
        }
    }
    for (auto const& vip : inputs.virtualIp6Status()->virtualIp6()) {
        if (vip.key.vrfName() == vrf) {
            texts.push_back(fmt::format("virtual {}", vip.key.addr()));
        }
    }
    return texts;
}

// What is there of a router: its tables, what waits in its order, and what is published.
Texts stateOf(Router const& router) {
    Texts state{fmt::format("runs {}", router.managerRuns())};
    for (char const* vrf : {"default", "red", "blue", "grey", "green", "pink"}) {
        state.push_back(fmt::format("VRF {}", vrf));
        if (auto const table = router.tables()->intfAddrVrfTable(vrf)) {
            auto const content = contentOf(*table);
            state.push_back("table");
            state.insert(state.end(), content.begin(), content.end());
        }
        if (auto const sm = router.tableSm(vrf)) {
            for (auto const& member : sm->deferredIntfAddBacklog()->backlog()) {
                state.push_back(fmt::format("waiting {}", text(member.key)));
            }
        }
        auto const published = publishedOf(router.inputs(), vrf);
        state.insert(state.end(), published.begin(), published.end());
    }
    return state;
}

// An empty router whose manager runs, to which it is done.
struct Replay {
    explicit Replay(std::vector<RecordedOperation> const& operations)
        : router({}, clock, std::make_unique<Velk::EveryNth>(0)) {
        router.managerStart().apply();
        for (auto const& [at, operation] : operations) {
            if (at) {
                runUntil(*at);
            }
            effectOf(router, operation).apply();
        }
    }
    void runUntil(Zin::Seconds time) {
        while (router.scheduler()->nextExpiry() <= time) {
            clock->nowIs(std::max(clock->now(), router.scheduler()->nextExpiry()));
            router.scheduler()->run();
        }
        clock->nowIs(time);
    }

    Zin::Ptr<Zin::VirtualClock> const clock = Zin::make<Zin::VirtualClock>();
    Router router;
};

Replay replayOf(std::vector<Operation> const& operations) {
    std::vector<RecordedOperation> recorded;
    for (Operation const& operation : operations) {
        recorded.push_back({.operation = operation});
    }
    return Replay(recorded);
}

TEST(OperationHistory, ARecordingThatBeginsWithoutAManagerSaysSo) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    OperationHistory history(router, 1000);
    history.record(ManagerStart{});

    EXPECT_THAT(texts(history.recording()), ElementsAre("ManagerStop", "ManagerStart"));
}

TEST(OperationHistory, WhatFollowsWithoutAnythingBetweenHasNoTime) {
    Fixture fixture;
    fixture.router.tableAdd("red").apply();
    fixture.inputs.ipVrfAdd("red").apply();
    fixture.at(1.5);
    fixture.inputs.ip6VrfAdd("red").apply();
    fixture.inputs.ipVrfAdd("blue").apply();
    fixture.at(2.25);
    fixture.inputs.ip6VrfAdd("blue").apply();

    EXPECT_THAT(texts(fixture.history.recording()),
                ElementsAre("TableAdd red", "IpVrfAdd red", "at 1.5: Ip6VrfAdd red",
                            "IpVrfAdd blue", "at 2.25: Ip6VrfAdd blue"));
}

TEST(OperationHistory, WhatFollowsTasksHasItsTimeAlsoWhereNonePassed) {
    Fixture fixture;
    fixture.router.tableAdd("red").apply();
    fixture.history.tasksRan();
    fixture.inputs.ipVrfAdd("red").apply();
    fixture.inputs.ip6VrfAdd("red").apply();
    fixture.at(3.0);
    fixture.inputs.ipVrfAdd("blue").apply();
    fixture.history.tasksRan();
    fixture.history.tasksRan();
    fixture.inputs.ip6VrfAdd("blue").apply();

    EXPECT_THAT(texts(fixture.history.recording()),
                ElementsAre("TableAdd red", "at 0: IpVrfAdd red", "Ip6VrfAdd red",
                            "at 3: IpVrfAdd blue", "at 3: Ip6VrfAdd blue"));
}

TEST(OperationHistory, ARecordingIsNotChangedByWhatFollows) {
    for (std::size_t const bound : {1000U, 3U}) {
        Fixture fixture(bound);
        fixture.vrf();
        auto const early = fixture.history.recording();
        auto const before = texts(early);
        EXPECT_EQ(before.size(), 2U);
        for (int step = 0; step < 20; ++step) {
            fixture.ip("eth0", step % 2 == 0 ? "10.0.0.1/24" : "10.0.0.2/24");
        }
        EXPECT_EQ(texts(early), before);
    }
}

TEST(OperationHistory, WhatIsKeptIsBoundedAndReachesBackForTheBoundAtLeast) {
    constexpr std::size_t bound = 10;
    Fixture fixture(bound);
    fixture.vrf();
    fixture.ip("eth0", "10.0.0.1/24");
    std::size_t const state = operationsOf(fixture.router).size();
    ASSERT_LT(state, bound);
    for (int step = 0; step < 100; ++step) {
        fixture.ip("eth0", fmt::format("10.0.0.{}/24", 1 + step).c_str());
        auto const all = texts(fixture.history.recording());
        EXPECT_LE(all.size(), state + 2 * bound) << step;
        for (int before = 0; before < static_cast<int>(bound) && before <= step; ++before) {
            EXPECT_THAT(
                all, Contains(fmt::format("IpPrimaryIs red eth0 10.0.0.{}/24", 1 + step - before)));
        }
    }
}

TEST(OperationHistory, AsManyOperationsAsTheStateTakesFollowIt) {
    Fixture fixture(1);
    fixture.vrf();
    for (int intf = 0; intf < 20; ++intf) {
        fixture.ip(fmt::format("eth{}", intf).c_str(), fmt::format("10.0.{}.1/24", intf).c_str());
    }
    std::size_t const state = operationsOf(fixture.router).size();
    for (int step = 0; step < 200; ++step) {
        fixture.inputs.ipSecondaryAdd("red", "eth0", Nimb::IpAddrWithMask("10.1.0.1/24")).apply();
        fixture.inputs.ipSecondaryDel("red", "eth0", Nimb::IpAddrWithMask("10.1.0.1/24")).apply();
    }
    // Of two states, at the most, and what has followed them; the oldest is not kept.
    EXPECT_GE(fixture.history.recording().size(), 2 * state);
    EXPECT_LE(fixture.history.recording().size(), 3 * state + 3);
}

TEST(OperationHistory, WhatIsKeptHasAlwaysLedThere) {
    for (std::size_t const bound : {1000U, 7U, 1U}) {
        Fixture fixture(bound);
        fixture.vrf();
        for (int step = 0; step < 60; ++step) {
            fixture.at(10.0 * step);
            fixture.ip(fmt::format("eth{}", step % 3).c_str(),
                       fmt::format("10.0.{}.{}/24", step * 5 % 3, 1 + step % 4).c_str());
            if (step % 7 == 0) {
                fixture.inputs.ipIntfDel("red", "eth0").apply();
                fixture.inputs.kernelDel("red", "eth0").apply();
            }
            Replay const replay(listOf(fixture.history.recording()));
            ASSERT_EQ(stateOf(replay.router), stateOf(fixture.router))
                << "bound " << bound << " step " << step;
        }
    }
}

TEST(OperationHistory, AStateStandsAtTheTimeAtWhichItWasWrittenDown) {
    Fixture fixture(3);
    fixture.vrf();
    fixture.at(5.0);
    for (int time = 0; time < 20; ++time) {
        fixture.inputs.ip6VrfAdd("red").apply();
    }
    auto const all = listOf(fixture.history.recording());
    EXPECT_EQ(all.front().at, 5.0);
    EXPECT_EQ(text(all.front().operation), "TableAdd red");
}

TEST(OperationHistory, WhatFollowsAStateOfNothingHasItsTime) {
    Fixture fixture(2);
    fixture.at(5.0);
    for (int time = 0; time < 10; ++time) {
        fixture.router.tableAdd("red").apply();
        fixture.router.tableDel("red").apply();
    }
    auto const all = listOf(fixture.history.recording());
    EXPECT_EQ(all.front().at, 5.0);
    EXPECT_EQ(text(all.front().operation), "TableAdd red");
}

TEST(OperationHistory, NoStateIsWrittenDownInTheMiddleOfAnOperation) {
    Fixture fixture(1);
    {
        Zin::Turn const turn;
        fixture.vrf();
        fixture.ip("eth0", "10.0.0.1/24");
        fixture.ip("eth1", "10.0.1.1/24");
    }
    EXPECT_THAT(
        texts(fixture.history.recording()),
        ElementsAre("TableAdd red", "IpVrfAdd red", "KernelAdd red eth0  0 up true",
                    "IpIntfAdd red eth0 0.0.0.0/0 from ''", "IpPrimaryIs red eth0 10.0.0.1/24",
                    "KernelAdd red eth1  0 up true", "IpIntfAdd red eth1 0.0.0.0/0 from ''",
                    "IpPrimaryIs red eth1 10.0.1.1/24"));
}

TEST(OperationHistory, AnEmptyRouterTakesNoOperations) {
    TestRouter test;
    test.router.tableDel("red").apply();
    test.inputs.ipVrfDel("red").apply();
    test.inputs.ip6VrfDel("red").apply();
    EXPECT_THAT(operationsOf(test.router), IsEmpty());
}

TEST(OperationHistory, TheOperationsOfARouterMakeOneThatIsEqual) {
    TestRouter test;
    test.vrf("blue");
    test.inputs.ipVrfAdd("grey").apply();
    test.inputs.ip6VrfAdd("green").apply();
    test.router.tableAdd("default").apply();
    for (char const* intf : {"eth3", "eth2", "eth1", "eth0", "lo"}) {
        test.status(intf);
    }
    test.ip("eth0", "10.0.0.1/24");
    test.secondary("eth0", "10.0.0.2/24");
    test.secondary("eth0", "10.0.4.1/24");
    test.ip("eth2", "10.0.0.4/24");  // waits
    test.ip("eth3", "10.0.0.5/24");  // behind it
    test.ip("eth1", "10.0.1.1/24");
    test.inputs.ipUnnumberedIs("red", "eth1", "lo").apply();
    test.ip6("eth1", "2001:db8::2/64", true);
    test.ip6("eth1", "2001:db8::1/64");
    test.ip6("eth0", "2001:db8::3/64", true);  // waits
    test.ip6("eth2", "fe80::2/64");
    test.ip6("eth2", "fe80::1/64");  // waits
    test.inputs
        .kernelAdd("blue", "et9",
                   {.deviceName = "et9.1",
                    .ifIndex = 9,
                    .operStatus = Interface::OperStatus::down,
                    .active = false})
        .apply();
    test.inputs.vipAdd("red", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();
    test.inputs.vip6Add("pink", Nimb::Ip6Addr("2001:db8::9")).apply();

    Replay const replay = replayOf(operationsOf(test.router));
    EXPECT_EQ(stateOf(replay.router), stateOf(test.router));
    std::set<std::string> once;
    for (Operation const& operation : operationsOf(test.router)) {
        EXPECT_TRUE(once.insert(text(operation)).second) << text(operation) << " comes twice";
    }
    EXPECT_THAT(test.queue(), ElementsAre("10.0.0.4/24 eth2", "10.0.0.5/24 eth3",
                                          "2001:db8::3/64 eth0", "fe80::1/64 eth2"));

    test.router.managerStop().apply();
    Replay const stopped = replayOf(operationsOf(test.router));
    EXPECT_FALSE(stopped.router.managerRuns());
    EXPECT_EQ(contentOf(*stopped.router.table("red")), test.content());
}

TEST(OperationHistory, TheOperationsOfARouterKeepWhoWasThereFirst) {
    TestRouter test;
    test.status("eth1");  // which a machine would start with
    test.ip("eth0", "10.0.0.1/24");
    test.ip("eth1", "10.0.0.2/24");
    test.ip6("eth1", "fe80::9/64");
    test.ip6("eth1", "fe80::1/64");
    test.noIp6("eth1", "fe80::9/64");
    test.advance(2.0);
    test.ip6("eth1", "fe80::9/64");
    ASSERT_THAT(test.rows(), ElementsAre("10.0.0.1/24 eth0", "fe80::1/64 eth1"));

    Replay const replay = replayOf(operationsOf(test.router));
    EXPECT_EQ(stateOf(replay.router), stateOf(test.router));
}

TEST(OperationHistory, TheOperationsOfARouterKeepARefusedLinkLocalRow) {
    TestRouter test;
    test.ip6("eth0", "fe80::1/64");
    EXPECT_THROW(test.ip6("eth0", "fe80::1/64", true), Zin::RangeError);

    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    router.managerStart().apply();
    int refused = 0;
    for (Operation const& operation : operationsOf(test.router)) {
        try {
            effectOf(router, operation).apply();
        } catch (Zin::RangeError const&) {
            ++refused;
        }
    }
    EXPECT_EQ(refused, 1);
    EXPECT_EQ(stateOf(router), stateOf(test.router));
}

TEST(OperationHistory, OneAddressAsPrimaryAndAsSecondaryIsBoth) {
    TestRouter test;
    test.ip("eth0", "10.0.0.1/24");
    test.secondary("eth0", "10.0.0.1/24");

    Replay const replay = replayOf(operationsOf(test.router));
    EXPECT_EQ(stateOf(replay.router), stateOf(test.router));
}

}  // namespace
}  // namespace Routing
