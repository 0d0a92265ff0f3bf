#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "TestKit/TraceRecorder.h"
#include "Zin/Format.h"
#include "router/repair/TestSupervisor.h"

namespace Routing {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using namespace TestSupervisor;

TEST(Supervisor, RebuildsTheVrfInWhichAnInvariantFailedAndNoOther) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.vrf("blue");
    auto const red = fixture.router.table("red");
    auto const blue = fixture.router.table("blue");
    fixture.fail("red");

    EXPECT_THAT(fixture.repairs, ElementsAre(fmt::format("0 red +0 -0: {}", conflict)));
    EXPECT_NE(fixture.router.table("red"), red);
    EXPECT_EQ(fixture.router.table("blue"), blue);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_FALSE(fixture.supervisor.degraded("red"));
}

TEST(Supervisor, RebuildsEveryVrfThatFailedInATurn) {
    Fixture fixture;
    for (char const* const name : {"red", "blue", "amber"}) {
        fixture.vrf(name);
        fixture.prepareFailure(name);
    }
    auto const amber = fixture.router.table("amber");
    // What red's table is told of breaks blue, and then red itself breaks.
    Meddler const meddler(fixture.supervisor, [&](L3::VrfName const& vrf, bool) {
        if (vrf == "red") {
            fixture.failure("blue").apply();
        }
    });
    fixture.apply([&] {
        Zin::Turn turn;
        turn.run([&] {
            fixture.inputs()
                .ipSecondaryAdd("red", "eth0", Nimb::IpAddrWithMask("10.0.0.7/24"))
                .apply();
        });
        turn.run([&] { fixture.failure("red").apply(); });
    });

    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("0 blue"), StartsWith("0 red")));
    EXPECT_EQ(fixture.router.table("amber"), amber);
}

TEST(Supervisor, CountsAndTracesAndKeepsWhatLedToARepair) {
    TestKit::TraceRecorder traces("Supervisor", 1);
    Fixture fixture;
    fixture.vrf("red");
    fixture.fail("red");
    fixture.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.advance(10);

    EXPECT_THAT(fixture.supervisor.repairsByReason(),
                ElementsAre(Pair("IntfAddrVrfTableSm::removeIntfAddr", 1U),
                            Pair("row and by-address entry that disagree", 1U)));
    EXPECT_EQ(fixture.supervisor.counts().afterFailures, 1U);
    EXPECT_EQ(fixture.supervisor.counts().afterAudits, 1U);
    EXPECT_THAT(
        traces.messages(),
        ElementsAre(fmt::format("1 Supervisor::rebuild vrf red was rebuilt in 0 s: {}", conflict),
                    "1 Supervisor::rebuild vrf red was rebuilt in 0 s: row and by-address entry "
                    "that disagree: 10.0.0.1/24 on eth0"));
    ASSERT_EQ(fixture.supervisor.lastRepairs().size(), 2U);
    // That no manager runs, its start, the VRF's making, and the two of the failure.
    EXPECT_EQ(fixture.supervisor.lastRepairs().front().recording.size(), 11U);
}

TEST(Supervisor, KeepsTheLastFewRepairs) {
    Fixture fixture;
    fixture.vrf("red");
    for (int i = 0; i < 10; ++i) {
        fixture.fail("red");
        fixture.advance(70);
    }

    EXPECT_EQ(fixture.repairs.size(), 10U);
    EXPECT_EQ(fixture.supervisor.lastRepairs().size(), 4U);
    EXPECT_EQ(fixture.supervisor.lastRepairs().back().at, fixture.clock->now() - 70.0);
}

TEST(Supervisor, AnErrorInARebuildIsTracedAndEndsNothing) {
    TestKit::TraceRecorder traces("Supervisor", 1);
    Fixture fixture;
    fixture.vrf("red");
    fixture.apply(fixture.inputs().ip6VrfAdd("red"));
    fixture.apply(fixture.inputs().ip6IntfAdd("red", "eth0", {}));
    EXPECT_THROW(
        fixture.apply(fixture.inputs().ip6AddrSet(
            "red", "eth0", {.addr = Nimb::Ip6AddrWithMask("fe80::1/64"), .deprecated = true})),
        Zin::RangeError);
    fixture.fail("red");

    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("0 red +0 -0: ")));
    EXPECT_THAT(traces.messages(),
                ElementsAre("1 Supervisor::rebuild vrf red: cannot deprecate IPv6 link-local "
                            "address, while it was rebuilt",
                            HasSubstr("was rebuilt")));
    EXPECT_FALSE(fixture.supervisor.degraded("red"));
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Supervisor, ARebuildThatFailsIsTriedAgainAfterFiveMinutes) {
    Fixture fixture;
    fixture.vrf("red");
    Spoiler spoiler(fixture.router);
    spoiler.spoils = true;
    fixture.fail("red");

    EXPECT_TRUE(fixture.supervisor.degraded("red"));
    // What could be built stands.
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
    EXPECT_EQ(fixture.supervisor.nextRepair(), 300.0);

    spoiler.spoils = false;
    fixture.advance(299);
    EXPECT_EQ(fixture.repairs.size(), 1U);
    fixture.advance(1);
    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("0 red"), "300 red +0 -0: spoilt"));
    EXPECT_FALSE(fixture.supervisor.degraded("red"));
}

TEST(Supervisor, ARebuildThatFailsIsTriedAgainWhenAnInputChanges) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.vrf("blue");
    Spoiler spoiler(fixture.router);
    spoiler.spoils = true;
    fixture.fail("red");
    spoiler.spoils = false;
    fixture.advance(20);

    fixture.primary("blue", "eth1", "10.1.0.1/24");
    EXPECT_EQ(fixture.repairs.size(), 1U);
    fixture.primary("red", "eth1", "10.1.0.1/24");
    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("0 red"), "20 red +1 -0: spoilt"));
}

TEST(Supervisor, TheSameFailureWithInputsUnchangedIsNotRepairedAgainSoon) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.fail("red");
    fixture.advance(10);
    fixture.supervisor.handleFailure({.className = "IntfAddrVrfTableSm",
                                      .condition = "",
                                      .function = "removeIntfAddr",
                                      .message = conflict,
                                      .domain = "red"});
    fixture.supervisor.contain([] {});

    EXPECT_TRUE(fixture.supervisor.degraded("red"));
    EXPECT_EQ(fixture.supervisor.nextRepair(), 310.0);
}

TEST(Supervisor, AFailureOutsideOfAllVrfsIsTold) {
    TestKit::TraceRecorder traces("Supervisor", 1);
    Fixture fixture;
    fixture.vrf("red");
    fixture.apply([] {
        Zin::fail({.className = "Reader",
                   .condition = "",
                   .function = "read",
                   .message = "a reader's own mistake"});
    });

    EXPECT_THAT(fixture.repairs, IsEmpty());
    EXPECT_THAT(traces.messages(), ElementsAre(HasSubstr("a reader's own mistake")));
    EXPECT_THAT(fixture.supervisor.repairsByReason(), ElementsAre(Pair("Reader::read", 1U)));
}

TEST(Supervisor, WhatARebuildDoesNotChangeIsToldOnce) {
    TestKit::TraceRecorder traces("Supervisor", 1);
    Fixture fixture;
    // No machine is made for a VRF whose name is too long to be a namespace's.
    std::string const name(148, 'x');
    EXPECT_THROW(fixture.apply(fixture.router.tableAdd(name)), Zin::RangeError);
    fixture.apply(fixture.inputs().ipVrfAdd(name));
    fixture.apply(fixture.inputs().kernelAdd(name, "eth0", {}));
    fixture.apply(
        fixture.inputs().ipIntfAdd(name, "eth0", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}));
    fixture.advance(100);

    EXPECT_EQ(fixture.repairs.size(), 1U);
    std::string const kind = "published address that is neither in the table nor waiting";
    EXPECT_THAT(fixture.supervisor.repairsByReason(),
                UnorderedElementsAre(Pair(kind, 1U), Pair("not repaired: " + kind, 1U)));
    EXPECT_EQ(fixture.supervisor.counts().inVain, 1U);
    EXPECT_EQ(std::ranges::count_if(traces.messages(),
                                    [](auto const& text) {
                                        return text.find("has not changed this") !=
                                               std::string::npos;
                                    }),
              1);

    fixture.apply(
        fixture.inputs().ipSecondaryAdd(name, "eth0", Nimb::IpAddrWithMask("10.0.0.2/24")));
    fixture.advance(100);
    EXPECT_EQ(fixture.repairs.size(), 2U);
}

TEST(Supervisor, AFaultThatComesAndGoesIsNotRepaired) {
    Fixture fixture;
    fixture.vrf("red");
    for (int i = 0; i < 10; ++i) {
        // Each time it waits, for the way is free only when the task has tried.
        fixture.primary("red", "eth1", i % 2 ? "0.0.0.0/0" : "10.0.0.1/24");
        fixture.primary("red", "eth0", i % 2 ? "10.0.0.1/24" : "0.0.0.0/0");
        fixture.advance(1);
    }

    EXPECT_THAT(fixture.repairs, IsEmpty());
}

TEST(Supervisor, AFaultIsRepairedAlsoWhileItsVrfIsBusy) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    for (int i = 0; i < 10; ++i) {
        fixture.primary("red", "eth1", i % 2 ? "10.2.0.1/24" : "10.1.0.1/24");
        fixture.apply(fixture.inputs().ipSecondaryAdd(
            "red", "eth0", Nimb::IpAddrWithMask(fmt::format("10.0.0.{}/24", 10 + i))));
        fixture.advance(1);
    }

    EXPECT_EQ(fixture.repairs.size(), 1U);
}

TEST(Supervisor, WhileTheManagerIsStoppedNothingIsDone) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.fail("red");
    fixture.advance(10);
    fixture.fail("red");
    ASSERT_TRUE(fixture.supervisor.degraded("red"));
    fixture.apply(fixture.router.managerStop());
    EXPECT_EQ(fixture.supervisor.nextRepair(), Velk::never);
    EXPECT_EQ(fixture.supervisor.auditIdleUntil(), Velk::never);
    EXPECT_EQ(fixture.supervisor.nextAuditSlice(), Velk::never);
    EXPECT_FALSE(fixture.supervisor.auditSlice());
    fixture.primary("red", "eth0", "0.0.0.0/0");
    fixture.advance(100);
    EXPECT_EQ(fixture.repairs.size(), 1U);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));

    fixture.apply(fixture.router.managerStart());
    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("0 red"), StartsWith("110 red +0 -1")));
}

TEST(Supervisor, AnotherTableOfTheAgentEndsWhatIsOwed) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.fail("red");
    fixture.advance(10);
    fixture.fail("red");
    ASSERT_TRUE(fixture.supervisor.degraded("red"));
    fixture.apply(fixture.router.tableAdd("red"));

    EXPECT_FALSE(fixture.supervisor.degraded("red"));
    fixture.advance(100);
    EXPECT_EQ(fixture.repairs.size(), 1U);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
}

TEST(Supervisor, ARebuildThatFailsIsTheReasonOfTheNext) {
    Fixture fixture;
    fixture.vrf("red");
    Spoiler spoiler(fixture.router);
    spoiler.spoils = true;
    fixture.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    fixture.advance(5);
    spoiler.spoils = false;
    fixture.advance(301);

    EXPECT_THAT(fixture.supervisor.repairsByReason(),
                ElementsAre(Pair("Spoiler::handle", 1U),
                            Pair("row and by-address entry that disagree", 1U)));
}

TEST(Supervisor, SettingWhatIsSetIsNoChange) {
    Fixture fixture;
    std::string const name(148, 'x');
    EXPECT_THROW(fixture.apply(fixture.router.tableAdd(name)), Zin::RangeError);
    fixture.apply(fixture.inputs().ipVrfAdd(name));
    fixture.apply(fixture.inputs().kernelAdd(name, "eth0", {}));
    fixture.apply(fixture.inputs().ipIntfAdd(name, "eth0", {}));
    for (int n = 0; n < 20; ++n) {
        fixture.primary(name, "eth0", "10.0.0.1/24");
        fixture.advance(2);
    }

    EXPECT_EQ(fixture.repairs.size(), 1U);
}

}  // namespace
}  // namespace Routing
