#include "router/Router.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "router/OperationError.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A router on a clock that the test moves, with VRF red.
struct Fixture {
    explicit Fixture(IpLib::IntfAddrVrfTableSmConfig const& config = {})
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)) {
        router.managerStart();
        vrf("red");
    }

    void vrf(L3::VrfName const& name) {
        router.tableAdd(name);
        router.inputs().ipVrfAdd(name);
        router.inputs().ip6VrfAdd(name);
    }
    void ip(Nimb::IntfId const& intf, char const* primary) {
        router.inputs().kernelAdd("red", intf, {});
        router.inputs().ipIntfAdd("red", intf, {.primary = Nimb::IpAddrWithMask(primary)});
    }
    void advance(Zin::Seconds seconds) {
        clock->nowIs(clock->now() + seconds);
        router.scheduler()->run();
    }
    std::vector<std::string> rows() const {
        std::vector<std::string> texts;
        for (Row const& row : router.rows("red")) {
            texts.push_back(fmt::format("{}/{} {}", row.addr, row.prefixLength(), row.intfId));
        }
        return texts;
    }

    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    Router router;
};

TEST(Router, PublishedAddressesBecomeRows) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.router.inputs().ip6IntfAdd("red", "eth0",
                                       {{.addr = Nimb::Ip6AddrWithMask("fe80::1/64")}});

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0", "fe80::1/64 eth0"));
    EXPECT_EQ(fixture.router.ownersOf("red", Nimb::IpGenAddr("10.0.0.1")).size(), 1U);
    EXPECT_THAT(fixture.router.ownersOf("red", Nimb::IpGenAddr("10.0.0.2")), IsEmpty());
}

TEST(Router, AnAddressInConflictIsDeferredUntilItsHolderIsGone) {
    Fixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.2/24");

    auto const deferred = fixture.router.deferredAddrs("red");
    ASSERT_EQ(deferred.size(), 1U);
    EXPECT_EQ(deferred[0].intfId, Nimb::IntfId("eth1"));
    ASSERT_TRUE(deferred[0].holder);
    EXPECT_EQ(deferred[0].holder->intfId, Nimb::IntfId("eth0"));
    EXPECT_EQ(deferred[0].holder->addrOrSubnet.toStrep(), "10.0.0.0/24");

    fixture.router.inputs().ipIntfDel("red", "eth0");
    EXPECT_THAT(fixture.rows(), IsEmpty());
    ASSERT_EQ(fixture.router.deferredAddrs("red").size(), 1U);
    EXPECT_FALSE(fixture.router.deferredAddrs("red")[0].holder);

    fixture.advance(2.0);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.2/24 eth1"));
    EXPECT_THAT(fixture.router.deferredAddrs("red"), IsEmpty());
}

TEST(Router, StoppingTheManagerLeavesTheTablesAndStopsTheirUpdates) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");

    fixture.router.managerStop();
    auto const before = fixture.rows();
    fixture.ip("eth1", "10.1.0.1/24");

    EXPECT_FALSE(fixture.router.managerRuns());
    EXPECT_EQ(fixture.rows(), before);
    EXPECT_THAT(fixture.router.deferredAddrs("red"), IsEmpty());
    EXPECT_FALSE(fixture.router.tableSm("red"));
}

TEST(Router, AManagerThatIsStartedAgainFillsTheTablesFromTheStatus) {
    Fixture fixture;
    fixture.router.managerStop();
    fixture.router.tableAdd("red");
    fixture.ip("eth0", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), IsEmpty());

    fixture.router.managerStart();

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Router, AManagerRunsForTheRestWhereTheStatusHoldsWhatIsRefused) {
    Fixture fixture;
    fixture.router.managerStop();
    fixture.router.tableAdd("red");
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.router.inputs().ip6IntfAdd(
        "red", "eth0", {{.addr = Nimb::Ip6AddrWithMask("fe80::1/64"), .deprecated = true}});

    EXPECT_THROW(fixture.router.managerStart(), Zin::RangeError);

    EXPECT_TRUE(fixture.router.managerRuns());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Router, VrfsAreListedWithTheDefaultFirst) {
    Fixture fixture;
    for (char const* name : {"zoo", "default", "Blue"}) {
        fixture.router.tableAdd(name);
    }

    EXPECT_THAT(fixture.router.vrfs(), ElementsAre(L3::VrfName("default"), L3::VrfName("Blue"),
                                                   L3::VrfName("red"), L3::VrfName("zoo")));
}

TEST(Router, AVrfWhoseNamespaceNameIsTooLongIsRefusedAndTheOthersGoOn) {
    Fixture fixture;
    L3::VrfName const tooLong(std::string(148, 'x'));

    EXPECT_THROW(fixture.router.tableAdd(tooLong), Zin::RangeError);
    EXPECT_FALSE(fixture.router.tableSm(tooLong));
    fixture.router.tableDel(tooLong);

    fixture.ip("eth0", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.router.vrfs(), ElementsAre(L3::VrfName("red")));
}

TEST(Router, OperationsThatMakeNoSenseAreRefused) {
    Fixture fixture;

    EXPECT_THROW(fixture.router.tableAdd(""), OperationError);
    EXPECT_THROW(fixture.router.tableDel("blue"), OperationError);
    EXPECT_THROW(fixture.router.rows("blue"), OperationError);
    EXPECT_THROW(fixture.router.ownersOf("blue", {}), OperationError);
    EXPECT_THROW(fixture.router.deferredAddrs("blue"), OperationError);
    EXPECT_THROW(fixture.router.managerStart(), OperationError);
    fixture.router.managerStop();
    EXPECT_THROW(fixture.router.managerStop(), OperationError);
}

TEST(Router, TheManagerWaitsToBeStarted) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    EXPECT_FALSE(router.managerRuns());
    router.tableAdd("red");
    EXPECT_FALSE(router.tableSm("red"));

    router.managerStart();

    EXPECT_TRUE(router.managerRuns());
    EXPECT_TRUE(router.tableSm("red"));
}

TEST(Router, TimePassesBetweenTheCheckOfAnOperationAndItsChange) {
    std::vector<std::string> states;
    Router* observed = nullptr;
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0), [&] {
        states.push_back(fmt::format("{} tables, manager {}", observed->vrfs().size(),
                                     observed->managerRuns() ? "runs" : "stands"));
    });
    observed = &router;
    router.managerStart();
    EXPECT_THROW(router.managerStart(), OperationError);
    router.tableAdd("red");
    EXPECT_THROW(router.tableAdd(""), OperationError);
    router.tableDel("red");
    EXPECT_THROW(router.tableDel("red"), OperationError);
    router.managerStop();
    EXPECT_THROW(router.managerStop(), OperationError);
    router.inputs().ipVrfAdd("red");

    EXPECT_THAT(states, ElementsAre("0 tables, manager stands", "0 tables, manager runs",
                                    "1 tables, manager runs", "0 tables, manager runs",
                                    "0 tables, manager stands"));
}

TEST(Router, ARouterGoesWithWorkPending) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.router.inputs().ipIntfDel("red", "eth0");

    EXPECT_LT(fixture.router.scheduler()->nextExpiry(), Velk::never);
}

}  // namespace
}  // namespace Routing
