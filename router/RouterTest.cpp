#include "router/Router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"
#include "router/OperationError.h"
#include "router/TestOperations.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A router on a clock that the test moves, with VRF red.
struct Fixture {
    explicit Fixture(IpLib::IntfAddrVrfTableSmConfig const& config = {})
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)) {
        router.managerStart().apply();
        vrf("red");
    }

    void vrf(L3::VrfName const& name) {
        router.tableAdd(name).apply();
        router.inputs().ipVrfAdd(name).apply();
        router.inputs().ip6VrfAdd(name).apply();
    }
    void ip(Nimb::IntfId const& intf, char const* primary) {
        router.inputs().kernelAdd("red", intf, {}).apply();
        router.inputs().ipIntfAdd("red", intf, {.primary = Nimb::IpAddrWithMask(primary)}).apply();
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
    fixture.router.inputs()
        .ip6IntfAdd("red", "eth0", {{.addr = Nimb::Ip6AddrWithMask("fe80::1/64")}})
        .apply();

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

    fixture.router.inputs().ipIntfDel("red", "eth0").apply();
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

    fixture.router.managerStop().apply();
    auto const before = fixture.rows();
    fixture.ip("eth1", "10.1.0.1/24");

    EXPECT_FALSE(fixture.router.managerRuns());
    EXPECT_EQ(fixture.rows(), before);
    EXPECT_THAT(fixture.router.deferredAddrs("red"), IsEmpty());
    EXPECT_FALSE(fixture.router.tableSm("red"));
}

TEST(Router, AManagerThatIsStartedAgainFillsTheTablesFromTheStatus) {
    Fixture fixture;
    fixture.router.managerStop().apply();
    fixture.router.tableAdd("red").apply();
    fixture.ip("eth0", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), IsEmpty());

    fixture.router.managerStart().apply();

    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Router, AManagerRunsForTheRestWhereTheStatusHoldsWhatIsRefused) {
    Fixture fixture;
    fixture.router.managerStop().apply();
    fixture.router.tableAdd("red").apply();
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.router.inputs()
        .ip6IntfAdd("red", "eth0",
                    {{.addr = Nimb::Ip6AddrWithMask("fe80::1/64"), .deprecated = true}})
        .apply();

    EXPECT_THROW(fixture.router.managerStart().apply(), Zin::RangeError);

    EXPECT_TRUE(fixture.router.managerRuns());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Router, VrfsAreListedWithTheDefaultFirst) {
    Fixture fixture;
    for (char const* name : {"zoo", "default", "Blue"}) {
        fixture.router.tableAdd(name).apply();
    }

    EXPECT_THAT(fixture.router.vrfs(), ElementsAre(L3::VrfName("default"), L3::VrfName("Blue"),
                                                   L3::VrfName("red"), L3::VrfName("zoo")));
}

TEST(Router, AVrfWhoseNamespaceNameIsTooLongIsRefusedAndTheOthersGoOn) {
    Fixture fixture;
    L3::VrfName const tooLong(std::string(148, 'x'));

    EXPECT_THROW(fixture.router.tableAdd(tooLong).apply(), Zin::RangeError);
    EXPECT_FALSE(fixture.router.tableSm(tooLong));
    fixture.router.tableDel(tooLong).apply();

    fixture.ip("eth0", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_THAT(fixture.router.vrfs(), ElementsAre(L3::VrfName("red")));
}

TEST(Router, OperationsThatMakeNoSenseAreRefused) {
    Fixture fixture;

    EXPECT_THROW(fixture.router.tableAdd("").apply(), OperationError);
    EXPECT_THROW(fixture.router.tableDel("blue").apply(), OperationError);
    EXPECT_THROW(fixture.router.rows("blue"), OperationError);
    EXPECT_THROW(fixture.router.ownersOf("blue", {}), OperationError);
    EXPECT_THROW(fixture.router.deferredAddrs("blue"), OperationError);
    EXPECT_THROW(fixture.router.managerStart().apply(), OperationError);
    fixture.router.managerStop().apply();
    EXPECT_THROW(fixture.router.managerStop().apply(), OperationError);
}

TEST(Router, TheManagerWaitsToBeStarted) {
    Router router({}, Zin::make<Zin::VirtualClock>(), std::make_unique<Velk::EveryNth>(0));
    EXPECT_FALSE(router.managerRuns());
    router.tableAdd("red").apply();
    EXPECT_FALSE(router.tableSm("red"));

    router.managerStart().apply();

    EXPECT_TRUE(router.managerRuns());
    EXPECT_TRUE(router.tableSm("red"));
}

TEST(Router, NothingHasChangedBeforeAnEffectIsApplied) {
    Fixture fixture;
    auto& router = fixture.router;
    auto const add = router.tableAdd("blue");
    auto const del = router.tableDel("red");
    auto const stop = router.managerStop();
    EXPECT_THAT(router.vrfs(), ElementsAre(L3::VrfName("red")));
    EXPECT_TRUE(router.managerRuns());

    add.apply();
    del.apply();
    stop.apply();
    EXPECT_THAT(router.vrfs(), ElementsAre(L3::VrfName("blue")));
    EXPECT_FALSE(router.managerRuns());

    auto const start = router.managerStart();
    EXPECT_FALSE(router.managerRuns());
    start.apply();
    EXPECT_TRUE(router.managerRuns());
}

TEST(Router, AManagerThatHasComeBeforeItsStartIsAppliedIsReplaced) {
    Fixture fixture({.intfCleanupDelay = 0.0});
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.router.managerStop().apply();
    auto const late = fixture.router.managerStart();
    fixture.router.managerStart().apply();

    late.apply();

    EXPECT_TRUE(fixture.router.managerRuns());
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
    fixture.ip("eth1", "10.1.0.1/24");
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0", "10.1.0.1/24 eth1"));
}

TEST(Router, ARouterGoesWithWorkPending) {
    Fixture fixture;
    fixture.ip("eth0", "10.0.0.1/24");
    fixture.ip("eth1", "10.0.0.2/24");
    fixture.router.inputs().ipIntfDel("red", "eth0").apply();

    EXPECT_LT(fixture.router.scheduler()->nextExpiry(), Velk::never);
}

TEST(Router, TheOperationsOfItsAgentAreToldRightBeforeTheyTakeEffect) {
    Fixture fixture;
    auto& router = fixture.router;
    OperationRecorder recorder(router.inputs().effects());
    std::vector<std::string> before;
    recorder.look = [&] {
        before.push_back(
            fmt::format("{} tables, runs {}", router.vrfs().size(), router.managerRuns()));
    };

    router.tableAdd("blue").apply();
    router.managerStop().apply();
    router.tableDel("red").apply();
    router.managerStart().apply();

    EXPECT_THAT(recorder.texts,
                ElementsAre("TableAdd blue", "ManagerStop", "TableDel red", "ManagerStart"));
    EXPECT_THAT(before, ElementsAre("1 tables, runs true", "2 tables, runs true",
                                    "2 tables, runs false", "1 tables, runs false"));
}

// Takes the address of eth1 away when it is told of a row.
class Withdrawer final : public IpLib::IntfAddrVrfTable::Notifiee {
public:
    explicit Withdrawer(Router& router) : router_(router) { notifierIs(router.table("red")); }

private:
    void handleIntfAddrEntry(IpLib::IntfAddrEntryContent const& row) override {
        if (row.intfId != Nimb::IntfId("eth1")) {
            router_.inputs().ipPrimaryIs("red", "eth1", {}).apply();
        }
    }

    Router& router_;
};

TEST(Router, OperationsOfAnObserverOfItsTablesAreToldAsTheyTakeEffect) {
    Fixture fixture;
    fixture.ip("eth1", "10.1.0.1/24");
    Withdrawer const withdrawer(fixture.router);
    OperationRecorder recorder(fixture.router.inputs().effects());
    std::vector<std::string> before;
    recorder.look = [&] { before = fixture.rows(); };

    fixture.ip("eth0", "10.0.0.1/24");

    EXPECT_THAT(recorder.texts, ElementsAre("KernelAdd red eth0  0 up true",
                                            "IpIntfAdd red eth0 10.0.0.1/24 from ''",
                                            "IpPrimaryIs red eth1 0.0.0.0/0"));
    EXPECT_EQ(before.size(), 2U);
    EXPECT_THAT(fixture.rows(), ElementsAre("10.0.0.1/24 eth0"));
}

}  // namespace
}  // namespace Routing
