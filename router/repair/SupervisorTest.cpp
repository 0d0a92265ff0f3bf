#include "router/repair/Supervisor.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TestKit/TraceRecorder.h"

namespace Routing {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;

using Texts = std::vector<std::string>;

// The handler of assertions is a plain function.
Supervisor* theSupervisor = nullptr;

void handleFailure(Pell::AssertionFailure const& failure) {
    theSupervisor->handleFailure(failure);
    throw Pell::AssertionError(failure);
}

// A router with a supervisor, on a clock that the test moves; its owner installs the handler.
struct Fixture : RepairObserver {
    explicit Fixture(IpLib::IntfAddrVrfTableSmConfig const& config = {},
                     std::size_t recordedOperations = 1000)
        : router(config, clock, std::make_unique<Velk::EveryNth>(0)),
          supervisor(router, this, {.recordedOperations = recordedOperations}) {
        theSupervisor = &supervisor;
        handlerBefore = Pell::assertionHandlerIs(handleFailure);
        apply(router.managerStart());
    }
    ~Fixture() override { Pell::assertionHandlerIs(handlerBefore); }

    void apply(Effect const& effect) {
        supervisor.apply(effect);
        supervisor.repair();
    }
    Inputs& inputs() { return router.inputs(); }

    // With interface eth0 that publishes 10.0.0.1/24, and eth1 that publishes nothing.
    void vrf(L3::VrfName const& name) {
        apply(router.tableAdd(name));
        apply(inputs().ipVrfAdd(name));
        for (char const* const intf : {"eth0", "eth1"}) {
            apply(inputs().kernelAdd(name, intf, {}));
            apply(inputs().ipIntfAdd(name, intf, {}));
        }
        primary(name, "eth0", "10.0.0.1/24");
    }
    void primary(L3::VrfName const& name, char const* intf, char const* addr) {
        apply(inputs().ipPrimaryIs(name, intf, Nimb::IpAddrWithMask(addr)));
    }
    // An interface without a device publishes eth0's address and withdraws it: the first part is
    // harmless.
    void prepareFailure(L3::VrfName const& name) {
        apply(inputs().ipIntfAdd(name, "eth9", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}));
    }
    Effect failure(L3::VrfName const& name) {
        return inputs().ipPrimaryIs(name, "eth9", Nimb::IpAddrWithMask("0.0.0.0/0"));
    }
    void fail(L3::VrfName const& name) {
        prepareFailure(name);
        apply(failure(name));
    }

    // Moves the clock, like a loop that audits each second.
    void advance(int seconds) {
        for (int second = 0; second < seconds; ++second) {
            clock->nowIs(clock->now() + 1.0);
            while (supervisor.runNextTask()) {
            }
            supervisor.repair();
            supervisor.audit();
        }
    }

    Texts rows(L3::VrfName const& name) {
        Texts texts;
        for (auto const& row : router.rows(name)) {
            texts.push_back(fmt::format("{}/{} {}", row.addr, row.prefixLength(), row.intfId));
        }
        return texts;
    }

    void handleRepair(Repair const& repair, std::vector<IpLib::IntfAddrEntryContent> const& added,
                      std::vector<IpLib::IntfAddrEntryContent> const& removed) override {
        repairs.push_back(fmt::format("{} {} +{} -{}: {}", repair.at, repair.vrf, added.size(),
                                      removed.size(), repair.why));
        if (onRepair) {
            onRepair();
        }
    }

    Zin::Ptr<Zin::VirtualClock> clock = Zin::make<Zin::VirtualClock>();
    Texts repairs;
    std::function<void()> onRepair;
    Router router;
    Supervisor supervisor;
    Pell::AssertionHandler handlerBefore = nullptr;
};

char const conflict[] = "ip 10.0.0.1 on eth9 has unexpected conflict on eth0";

// Does something when it is told of a row.
class Meddler final : public TableFollower::Notifiee {
public:
    Meddler(Supervisor& supervisor, std::function<void(L3::VrfName const&, bool)> meddle)
        : meddle_(std::move(meddle)) {
        notifierIs(supervisor.follower());
    }
    void handleRow(L3::VrfName const& vrf, IpLib::IntfAddrEntryContent const&,
                   bool present) override {
        meddle_(vrf, present);
    }

private:
    std::function<void(L3::VrfName const&, bool)> const meddle_;
};

// Fails while a table is put into the directory of VRF red.
class Spoiler final : public IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    explicit Spoiler(Router& router) { notifierIs(router.tables()); }

    bool spoils = false;

private:
    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
        if (spoils && vrf == "red" && notifier()->intfAddrVrfTable(vrf)) {
            Zin::FaultDomain const domain("red");
            Zin::fail({.className = "Spoiler",
                       .condition = "!spoils",
                       .function = "handle",
                       .message = "spoilt"});
        }
    }
};

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
    EXPECT_THAT(
        traces.messages(),
        ElementsAre(fmt::format("1 Supervisor::rebuild vrf red was rebuilt in 0 s: {}", conflict),
                    "1 Supervisor::rebuild vrf red was rebuilt in 0 s: row and by-address entry "
                    "that disagree: 10.0.0.1/24 on eth0"));
    ASSERT_EQ(fixture.supervisor.lastRepairs().size(), 2U);
    // That no manager runs, its start, the VRF's making, and the two of the failure.
    EXPECT_EQ(fixture.supervisor.lastRepairs().front().recording.operations().size(), 11U);
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

TEST(Supervisor, ObserversMayChangeTheInputsWhileTheyAreToldOfARepair) {
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

TEST(Supervisor, AnObserverMayStopTheManagerWhileItIsToldOfARepair) {
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

TEST(Supervisor, AuditsInSlices) {
    Fixture fixture;
    fixture.vrf("red");
    fixture.vrf("blue");
    fixture.router.table("blue")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    // No time at all is a few steps a slice.
    int slices = 0;
    while (fixture.repairs.empty()) {
        if (!fixture.supervisor.auditSlice(std::chrono::nanoseconds(0))) {
            EXPECT_GE(fixture.supervisor.nextAuditSlice(), fixture.clock->now());
            fixture.clock->nowIs(fixture.supervisor.nextAuditSlice());
        }
        ASSERT_LT(++slices, 1000);
    }

    EXPECT_THAT(fixture.repairs, ElementsAre(StartsWith("4 blue +0 -0: row and by-address entry")));
}

TEST(Supervisor, UnderLoadASliceIsDueATenthOfASecondAfterTheLast) {
    Fixture fixture;
    for (int n = 0; n < 100; ++n) {
        fixture.vrf(fmt::format("vrf{}", n));
    }
    fixture.clock->nowIs(5.0);
    ASSERT_TRUE(fixture.supervisor.auditSlice(std::chrono::nanoseconds(0)));

    EXPECT_DOUBLE_EQ(fixture.supervisor.nextAuditSlice(), 5.1);
}

// Told of each change of the directory: whether the VRF has a table.
class DirectoryMeddler final : public IpLib::AllIntfAddrVrfTable::Notifiee {
public:
    DirectoryMeddler(Router& router, std::function<void(L3::VrfName const&, bool)> meddle)
        : meddle_(std::move(meddle)) {
        notifierIs(router.tables());
    }

private:
    void handleIntfAddrVrfTable(L3::VrfName const& vrf) override {
        meddle_(vrf, bool(notifier()->intfAddrVrfTable(vrf)));
    }

    std::function<void(L3::VrfName const&, bool)> const meddle_;
};

// Slices of a few steps, one each tenth of a second, of a router with so many virtual addresses
// that an audit takes longer than a fault may stay.
struct Slow : Fixture {
    Slow() {
        vrf("red");
        for (int n = 0; n < 2000; ++n) {
            apply(inputs().vipAdd(
                "elsewhere", Nimb::IpAddrWithMask(fmt::format("10.{}.{}.1/32", n / 200, n % 200))));
        }
    }
    void slice() {
        clock->nowIs(clock->now() + 0.1);
        while (supervisor.runNextTask()) {
        }
        supervisor.repair();
        supervisor.auditSlice(std::chrono::nanoseconds(0));
    }
    // So that the next rebuild has to wait.
    void failOften() {
        for (int n = 0; n < 6; ++n) {
            fail("red");
            if (supervisor.degraded("red")) {
                clock->nowIs(supervisor.nextRepair());
                supervisor.repair();
            }
        }
        repairs.clear();
        clock->nowIs(clock->now() + 1.0);
    }
};

TEST(Supervisor, ASlowAuditRepairsNothingThatIsYoungerThanItself) {
    Slow slow;
    bool isAtEth0 = true;
    slow.primary("red", "eth1", "10.0.0.1/24");
    // The address changes hands again and again, and each time that takes 2 s.
    for (int tick = 0; tick < 1000; ++tick) {
        if (tick % 25 == 0) {
            slow.primary("red", isAtEth0 ? "eth0" : "eth1", "0.0.0.0/0");
            isAtEth0 = !isAtEth0;
        } else if (tick % 25 == 22) {
            slow.primary("red", isAtEth0 ? "eth1" : "eth0", "10.0.0.1/24");
        }
        slow.slice();
    }
    EXPECT_THAT(slow.repairs, IsEmpty());
}

TEST(Supervisor, ASlowAuditDoesNotRepairWhatIsOwedARebuild) {
    Slow slow;
    slow.failOften();
    for (int n = 0; n < 100; ++n) {
        slow.slice();
    }
    slow.fail("red");
    slow.primary("red", "eth0", "0.0.0.0/0");
    ASSERT_TRUE(slow.supervisor.degraded("red"));
    Zin::Seconds const due = slow.supervisor.nextRepair();
    while (slow.clock->now() < due - 0.2) {
        slow.slice();
    }
    EXPECT_THAT(slow.repairs, IsEmpty());
}

TEST(Supervisor, ASlowAuditThatIsGivenUpLeavesNothingToTheNextOne) {
    Slow slow;
    for (int n = 0; n < 500; ++n) {
        slow.apply(slow.inputs().ipSecondaryAdd(
            "red", "eth0", Nimb::IpAddrWithMask(fmt::format("20.{}.{}.1/24", n / 200, n % 200))));
    }
    slow.failOften();
    for (int n = 0; n < 80; ++n) {
        slow.slice();
    }
    slow.fail("red");
    ASSERT_TRUE(slow.supervisor.degraded("red"));
    slow.primary("red", "eth1", "10.0.0.1/24");  // is to wait behind eth0
    for (int n = 0; n < 3000; ++n) {
        slow.slice();
    }
    EXPECT_EQ(slow.repairs.size(), 1U);
}

TEST(Supervisor, AuditsGoOnUnderLoad) {
    Slow slow;
    slow.router.table("red")->intfAddrEntryFromAddrDel(
        IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")));
    for (int n = 0; n < 1000; ++n) {
        slow.slice();
    }
    EXPECT_EQ(slow.repairs.size(), 1U);
}

TEST(Supervisor, ARepairThatStopsTheManagerIsTheLast) {
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

TEST(Supervisor, AManagerThatIsStoppedInTheMiddleOfARebuildLeavesTheTable) {
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

TEST(Supervisor, ATableThatAnObserverPutsThereInARebuildStays) {
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

TEST(Supervisor, WhatChangesInTheMiddleOfARebuildIsHeeded) {
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

TEST(Supervisor, AReadersOwnMistakeIsNotItsVrfs) {
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

TEST(Supervisor, WhateverAnObserverThrowsEndsNoRebuild) {
    Fixture fixture;
    fixture.vrf("red");
    DirectoryMeddler const meddler(fixture.router, [](L3::VrfName const&, bool) { throw 42; });

    EXPECT_NO_THROW(fixture.fail("red"));
    EXPECT_EQ(fixture.repairs.size(), 1U);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 eth0"));
}

}  // namespace
}  // namespace Routing
