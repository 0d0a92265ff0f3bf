#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "router/repair/TestSupervisor.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using namespace TestSupervisor;

TEST(MeddledRepair, ObserversMayChangeTheInputsWhileTheyAreToldOfARepair) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.primary("red", "eth1", "10.0.0.1/24");
    bool meddled = false;
    Meddler const meddler(fixture.supervisor, [&](L3::VrfName const&, bool present) {
        if (!present && !std::exchange(meddled, true)) {
            fixture.inputs()
                .ipSecondaryAdd("red", "eth1", Nimb::IpAddrWithMask("10.5.0.1/24"))
                .apply();
            fixture.router.tableAdd("blue").apply();
            fixture.inputs().vipAdd("blue", Nimb::IpAddrWithMask("10.6.0.1/24")).apply();
        }
    });
    // eth0's row becomes eth1's, in a rebuild.
    fixture.apply(fixture.router.managerStop());
    fixture.apply(fixture.inputs().ipIntfDel("red", "eth0"));
    fixture.apply(fixture.router.managerStart());
    fixture.advance(10);

    EXPECT_TRUE(meddled);
    EXPECT_EQ(fixture.repairs.size(), 1U);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth1", "10.5.0.1/24 eth1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("10.6.0.1/32 "));
}

TEST(MeddledRepair, AnObserverMayStopTheManagerWhileItIsToldOfARepair) {
    Fixture fixture;
    fixture.vrf("red");
    bool meddled = false;
    Meddler const meddler(fixture.supervisor, [&](L3::VrfName const&, bool) {
        if (!std::exchange(meddled, true)) {
            fixture.router.managerStop().apply();
        }
    });
    fixture.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.apply(fixture.router.managerStop());
    fixture.apply(fixture.inputs().ipIntfDel("red", "eth0"));
    fixture.apply(fixture.router.managerStart());
    fixture.advance(10);

    EXPECT_TRUE(meddled);
    EXPECT_FALSE(fixture.router.managerRuns());
    EXPECT_THAT(fixture.rows("red"), IsEmpty());
}

TEST(MeddledRepair, ARepairThatStopsTheManagerIsTheLast) {
    for (bool const byAudit : {false, true}) {
        Fixture fixture;
        for (char const* const name : {"blue", "red"}) {
            fixture.vrf(name);
            fixture.prepareFailure(name);
        }
        fixture.onRepair = [&] { fixture.router.managerStop().apply(); };
        if (byAudit) {
            for (char const* const name : {"blue", "red"}) {
                fixture.router.table(name)->intfAddrEntryFromAddrDel(
                    IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
            }
            fixture.advance(20);
        } else {
            fixture.apply([&] {
                Zin::Turn turn;
                turn.run([&] { fixture.failure("blue").apply(); });
                turn.run([&] { fixture.failure("red").apply(); });
            });
        }
        EXPECT_EQ(fixture.repairs.size(), 1U);
        EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
    }
}

TEST(MeddledRepair, AManagerThatIsStoppedInTheMiddleOfARebuildLeavesTheTable) {
    Fixture fixture;
    fixture.vrf("red");
    bool meddled = false;
    DirectoryMeddler const meddler(fixture.router, [&](L3::VrfName const&, bool isThere) {
        if (!isThere && !std::exchange(meddled, true)) {
            fixture.router.managerStop().apply();
        }
    });
    fixture.fail("red");

    EXPECT_TRUE(meddled);
    EXPECT_THAT(fixture.repairs, IsEmpty());
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
    fixture.apply(fixture.router.managerStart());
    EXPECT_EQ(fixture.repairs.size(), 1U);
}

TEST(MeddledRepair, ATableThatAnObserverPutsThereInARebuildStays) {
    Fixture fixture;
    fixture.vrf("red");
    auto const own = IpLib::intfAddrVrfTableFactory();
    DirectoryMeddler const meddler(fixture.router, [&](L3::VrfName const& vrf, bool isThere) {
        if (!isThere) {
            fixture.router.tables()->intfAddrVrfTableIs(vrf, own);
        }
    });
    fixture.fail("red");

    EXPECT_EQ(fixture.router.table("red"), own);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_FALSE(fixture.supervisor.degraded("red"));
    EXPECT_EQ(
        fixture.inputs().kniIntfStatusHelper()->uses("red", "IpLib::IntfAddrVrfTableSmFactory"),
        1U);
}

TEST(MeddledRepair, WhatChangesInTheMiddleOfARebuildIsHeeded) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.primary("red", "eth1", "10.0.0.1/24");
    DirectoryMeddler const meddler(fixture.router, [&](L3::VrfName const&, bool isThere) {
        if (!isThere) {
            fixture.inputs().ipPrimaryIs("red", "eth0", Nimb::IpAddrWithMask("0.0.0.0/0")).apply();
        }
    });
    fixture.fail("red");

    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth1"));
}

TEST(MeddledRepair, AReadersOwnMistakeIsNotItsVrfs) {
    Fixture fixture;
    fixture.vrf("red");
    Meddler const meddler(fixture.supervisor, [](L3::VrfName const&, bool) {
        Zin::fail({.className = "Reader", .condition = "", .function = "read", .message = "mine"});
    });
    fixture.primary("red", "eth1", "10.1.0.1/24");

    EXPECT_THAT(fixture.repairs, IsEmpty());
    EXPECT_FALSE(fixture.supervisor.degraded("red"));
    EXPECT_THAT(fixture.supervisor.repairsByReason(), ElementsAre(Pair("Reader::read", 1U)));
}

TEST(MeddledRepair, WhateverAnObserverThrowsEndsNoRebuild) {
    Fixture fixture;
    fixture.vrf("red");
    DirectoryMeddler const meddler(fixture.router, [](L3::VrfName const&, bool) { throw 42; });

    EXPECT_NO_THROW(fixture.fail("red"));
    EXPECT_EQ(fixture.repairs.size(), 1U);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
}

}  // namespace
}  // namespace Routing
