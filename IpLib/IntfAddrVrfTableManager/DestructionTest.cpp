// How the library goes: in any order, at any moment, and after failures.

#include <gmock/gmock.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Pell/Assertion.h"
#include "TestKit/TraceRecorder.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestKit::expectConsistent;
using TestKit::ManagerFixture;
using TestKit::rowsOf;

constexpr IntfAddrVrfTableSmConfig delayed;
constexpr IntfAddrVrfTableSmConfig atOnce{.intfCleanupDelay = 0.0, .deferredIntfAddDelay = 0.0};

// A router's objects, each held by one pointer that can be dropped by itself.
struct Pieces {
    explicit Pieces(IntfAddrVrfTableSmConfig const& config) {
        ManagerFixture fixture(config);
        clock = Zin::make<Zin::VirtualClock>();
        scheduler = Velk::taskSchedulerFactory(clock, std::make_unique<Velk::EveryNth>(0));
        fixture.factory = intfAddrVrfTableSmFactoryFactory(config, scheduler, fixture.virtualIp,
                                                           fixture.virtualIp6, fixture.helper);
        fixture.vrfIs("red");
        fixture.vrfIs("blue");
        fixture.managerIs();
        // Rows of all kinds, an address that waits, and an interface whose clean-up is pending.
        fixture.ip("red", "Ethernet1", "10.0.0.1/24");
        fixture.ip("red", "Ethernet2", "10.0.0.2/24");
        fixture.ip6("red", "Ethernet1", "fe80::1/64");
        fixture.ip6("red", "Ethernet1", "2001:db8::1/64");
        fixture.ip6("red", "Ethernet1", "2001:db8::2/64", true);
        fixture.ip("blue", "Ethernet3", "10.0.0.1/24");
        fixture.ipDel("blue", "Ethernet3");
        ipStatus = fixture.ipStatus;
        ip6Status = fixture.ip6Status;
        tables = fixture.tables;
        factory = fixture.factory;
        helper = fixture.helper;
        manager = fixture.manager;
    }

    static constexpr std::size_t count = 6;
    void drop(std::size_t piece) {
        switch (piece) {
            case 0:
                manager = nullptr;
                break;
            case 1:
                tables = nullptr;
                break;
            case 2:
                ipStatus = nullptr;
                break;
            case 3:
                ip6Status = nullptr;
                break;
            case 4:
                scheduler = nullptr;
                break;
            default:
                factory = nullptr;
                helper = nullptr;
        }
    }

    Zin::Ptr<Zin::VirtualClock> clock;
    Zin::Ptr<Velk::TaskScheduler> scheduler;
    Zin::Ptr<Ip::Status> ipStatus;
    Zin::Ptr<Ip6::Status> ip6Status;
    Zin::Ptr<AllIntfAddrVrfTable> tables;
    Zin::Ptr<IntfAddrVrfTableSmFactory> factory;
    Zin::Ptr<Interface::KniIntfStatusHelper> helper;
    Zin::Ptr<IntfAddrVrfTableManager> manager;
};

class AnyTuning : public testing::TestWithParam<IntfAddrVrfTableSmConfig> {};

INSTANTIATE_TEST_SUITE_P(Destruction, AnyTuning, testing::Values(delayed, atOnce),
                         [](auto const& tuning) {
                             return tuning.param == atOnce ? "AtOnce" : "Delayed";
                         });

TEST_P(AnyTuning, APublishersWorldMayGoInAnyOrder) {
    std::vector<std::size_t> order(Pieces::count);
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    do {
        Pieces pieces(GetParam());
        for (std::size_t const piece : order) {
            pieces.drop(piece);
        }
    } while (std::ranges::next_permutation(order).found);
}

TEST_P(AnyTuning, OnceTheManagerIsGoneNothingOfItSpeaks) {
    Pieces pieces(GetParam());
    pieces.manager = nullptr;
    EXPECT_EQ(pieces.scheduler->nextExpiry(), Velk::never);

    TestKit::TraceRecorder const traces;
    auto const red = pieces.ipStatus->vrfIpIntfStatus("red");
    red->ipIntfStatus("Ethernet1")->activeAddrWithMaskIs(Nimb::IpAddrWithMask("10.9.0.1/24"));
    red->ipIntfStatusDelAll();
    pieces.ip6Status->vrfIp6IntfStatusDelAll();
    pieces.helper->deviceIntfStatusDir("red")->deviceIntfStatusDelAll();
    pieces.tables->intfAddrVrfTable("red")->intfAddrEntryDelAll();
    pieces.tables->intfAddrVrfTableDelAll();
    pieces.clock->nowIs(10.0);
    pieces.scheduler->run();
    EXPECT_THAT(traces.messages(), IsEmpty());
}

TEST_P(AnyTuning, AMachineThatSomebodyStillHoldsIsSilentOnceItsTableHasGone) {
    ManagerFixture fixture(GetParam());
    fixture.vrfIs("red");
    fixture.managerIs();
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip("red", "Ethernet2", "10.0.0.1/24");
    auto const sm = fixture.sm("red");
    auto const ipSm = sm->ipIntfStatusSm("Ethernet1");
    fixture.tables->intfAddrVrfTableDel("red");
    ASSERT_TRUE(sm->retired());
    ASSERT_TRUE(ipSm->retired());

    TestKit::TraceRecorder const traces("IntfAddrVrfTableSm");
    TestKit::TraceRecorder const ipTraces("IpIntfStatusSm");
    fixture.ip("red", "Ethernet1", "10.0.1.1/24");
    fixture.ip("red", "Ethernet3", "10.0.2.1/24");
    fixture.ipDel("red", "Ethernet1");
    fixture.time.advance(10.0);
    EXPECT_THAT(traces.messages(), IsEmpty());
    EXPECT_THAT(ipTraces.messages(), IsEmpty());
}

// Does something once, when it is told for the `when`-th time of anything in the tables.
class Meddler {
public:
    Meddler(std::size_t when, std::function<void()> step) : left_(when), step_(std::move(step)) {}

    void watch(Zin::Ptr<AllIntfAddrVrfTable> const& tables) {
        tables_ = std::make_unique<Tables>(*this, tables);
    }
    void watch(Zin::Ptr<IntfAddrVrfTable> const& table) {
        table_.push_back(std::make_unique<Table>(*this, table));
    }
    bool acted() const { return left_ == 0; }

private:
    class Tables final : public AllIntfAddrVrfTable::Notifiee {
    public:
        Tables(Meddler& meddler, Zin::Ptr<AllIntfAddrVrfTable> const& tables) : meddler_(meddler) {
            notifierIs(tables);
        }

    private:
        void handleIntfAddrVrfTable(L3::VrfName const&) override { meddler_.tick(); }
        Meddler& meddler_;
    };
    class Table final : public IntfAddrVrfTable::Notifiee {
    public:
        Table(Meddler& meddler, Zin::Ptr<IntfAddrVrfTable> const& table) : meddler_(meddler) {
            notifierIs(table);
        }

    private:
        void handleVrfIpIntfStatus() override { meddler_.tick(); }
        void handleVrfIp6IntfStatus() override { meddler_.tick(); }
        void handleIntfAddrEntry(IntfAddrEntryContent const&) override { meddler_.tick(); }
        void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) override { meddler_.tick(); }
        void handleIntfAddrEntrySetFromSubnet(Nimb::IpGenPrefix const&) override {
            meddler_.tick();
        }
        void handleLlIntfAddrEntryFromIntfId(Nimb::IntfId const&) override { meddler_.tick(); }
        Meddler& meddler_;
    };

    void tick() {
        if (left_ > 0 && --left_ == 0) {
            step_();
        }
    }

    std::size_t left_;
    std::function<void()> step_;
    std::unique_ptr<Tables> tables_;
    std::vector<std::unique_ptr<Table>> table_;
};

// A life of one VRF that comes by everything: construction over published status, admission,
// withdrawal, clean-ups and retries by the tasks, a table replaced, status that goes. Ethernet2 has
// `addr`, which may be one that has to wait for Ethernet1's.
void live(ManagerFixture& fixture, Meddler& meddler, char const* addr) {
    auto const tableIs = [&] {
        auto const table = intfAddrVrfTableFactory();
        meddler.watch(table);
        fixture.tables->intfAddrVrfTableIs("red", table);
    };
    meddler.watch(fixture.tables);
    fixture.ipStatus->vrfIpIntfStatusIs("red", Ip::vrfIpIntfStatusFactory());
    fixture.ip6Status->vrfIp6IntfStatusIs("red", Ip6::vrfIp6IntfStatusFactory());
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip6("red", "Ethernet1", "2001:db8::1/64");
    fixture.ip6("red", "Ethernet1", "fe80::1/64");
    fixture.ip6("red", "Ethernet1", "fe80::2/64");
    tableIs();
    fixture.ip("red", "Ethernet2", addr);
    fixture.ip6("red", "Ethernet2", "2001:db8:1::1/64", true);
    fixture.ipDel("red", "Ethernet1");
    fixture.time.advance(1.5);
    fixture.time.advance(2.0);
    fixture.ip("red", "Ethernet1", "10.0.1.1/24");
    fixture.ip("red", "Ethernet1", "10.0.1.2/24");
    fixture.ip6Status->vrfIp6IntfStatusDel("red");
    tableIs();
    fixture.time.advance(5.0);
    fixture.tables->intfAddrVrfTableDel("red");
    fixture.time.advance(5.0);
}

constexpr auto waiting = "10.0.0.2/24";
constexpr auto apart = "10.0.2.1/24";

using Step = std::function<void(ManagerFixture&)>;

// Lives once for each moment at which somebody is told something, doing `step` at that moment.
// Returns how many moments there were.
std::size_t meddleAtEveryMoment(IntfAddrVrfTableSmConfig const& config, Step const& step,
                                Step const& afterwards) {
    for (std::size_t when = 1;; ++when) {
        ManagerFixture fixture(config, 1);
        fixture.managerIs();
        Meddler meddler(when, [&] { step(fixture); });
        live(fixture, meddler, config == atOnce ? apart : waiting);
        afterwards(fixture);
        if (!meddler.acted()) {
            return when - 1;
        }
    }
}

TEST_P(AnyTuning, TheManagerMayGoAtAnyMoment) {
    auto const moments = meddleAtEveryMoment(
        GetParam(), [](ManagerFixture& fixture) { fixture.manager = nullptr; },
        [](ManagerFixture const& fixture) {
            if (!fixture.manager) {
                EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
            }
        });
    EXPECT_GT(moments, 30u);
}

TEST_P(AnyTuning, ATableMayGoAtAnyMoment) {
    auto const moments = meddleAtEveryMoment(
        GetParam(), [](ManagerFixture& fixture) { fixture.tables->intfAddrVrfTableDel("red"); },
        [](ManagerFixture const& fixture) { EXPECT_EQ(fixture.sm("red"), nullptr); });
    EXPECT_GT(moments, 30u);
}

TEST_P(AnyTuning, ATableMayBeReplacedAtAnyMoment) {
    meddleAtEveryMoment(
        GetParam(),
        [](ManagerFixture& fixture) {
            if (fixture.table("red")) {
                fixture.tableIs("red");
                EXPECT_EQ(fixture.table("red")->vrfIpIntfStatus(),
                          fixture.ipStatus->vrfIpIntfStatus("red"));
                expectConsistent(*fixture.table("red"));
            }
        },
        [](ManagerFixture const& fixture) { EXPECT_EQ(fixture.sm("red"), nullptr); });
}

TEST_P(AnyTuning, AnInterfacesStatusMayGoAtAnyMoment) {
    // A clean-up that comes before the next try, so that no waiting address is tried in vain.
    IntfAddrVrfTableSmConfig const soon{.intfCleanupDelay = -1.0};
    meddleAtEveryMoment(
        GetParam() == atOnce ? atOnce : soon,
        [](ManagerFixture& fixture) {
            fixture.ipDel("red", "Ethernet1");
            if (auto const status = fixture.ip6Status->vrfIp6IntfStatus("red")) {
                status->intfStatusDel("Ethernet1");
            }
        },
        [](ManagerFixture const& fixture) { EXPECT_EQ(fixture.sm("red"), nullptr); });
}

TEST_P(AnyTuning, AllStatusMayGoAtAnyMomentAndLeavesAnEmptyTable) {
    for (std::size_t when = 1;; ++when) {
        ManagerFixture fixture(GetParam());
        fixture.vrfIs("red");
        fixture.ip("red", "Ethernet1", "10.0.0.1/24");
        fixture.ip6("red", "Ethernet1", "2001:db8::1/64");
        fixture.ip6("red", "Ethernet1", "2001:db8::2/64", true);
        fixture.ip6("red", "Ethernet1", "fe80::1/64");
        fixture.ip("red", "Ethernet2", "10.0.0.2/24");
        Meddler meddler(when, [&] {
            fixture.ipStatus->vrfIpIntfStatusDel("red");
            fixture.ip6Status->vrfIp6IntfStatusDel("red");
        });
        meddler.watch(fixture.table("red"));
        fixture.managerIs();
        fixture.time.advance(10.0);
        if (!meddler.acted()) {
            EXPECT_GT(when, 12u);
            break;
        }
        auto const table = fixture.table("red");
        EXPECT_THAT(fixture.rows("red"), IsEmpty()) << when;
        EXPECT_TRUE(table->intfAddrEntryFromAddr().empty()) << when;
        EXPECT_TRUE(table->intfAddrEntrySetFromSubnet().empty()) << when;
        EXPECT_TRUE(table->llIntfAddrEntryFromIntfId().empty()) << when;
        EXPECT_TRUE(fixture.sm("red")->deferredIntfAddBacklog()->backlog().empty()) << when;
    }
}

TEST_P(AnyTuning, TheManagerMayGoInARunOfTheScheduler) {
    ManagerFixture fixture(GetParam());
    fixture.managerIs();
    auto const task = Velk::timerTaskFactory(fixture.time.scheduler(), {}, "agent");
    class Agent final : public Velk::TimerTask::Notifiee {
    public:
        explicit Agent(ManagerFixture& fixture) : fixture_(fixture) {}
        void handleTaskRun() override { fixture_.manager = nullptr; }

    private:
        ManagerFixture& fixture_;
    } agent(fixture);
    agent.notifierIs(task);
    task->scheduleTask();
    fixture.vrfIs("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip("red", "Ethernet2", "10.0.0.2/24");
    fixture.ipDel("red", "Ethernet1");
    fixture.time.advance(10.0);
    EXPECT_EQ(fixture.manager, nullptr);
    EXPECT_EQ(fixture.time.scheduler()->nextExpiry(), Velk::never);
}

TEST(Destruction, MachinesThatAreStillHeldAreHeardOfByNobodyTheyWatched) {
    ManagerFixture fixture;
    fixture.managerIs();
    fixture.vrfIs("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip6("red", "Ethernet1", "2001:db8::1/64");
    auto const manager = fixture.manager;
    auto const allSm = manager->allIntfAddrVrfTableSm();
    auto const smManager = manager->intfAddrVrfTableSmManager();
    auto const sm = fixture.sm("red");
    auto const ipSm = sm->ipIntfStatusSm("Ethernet1");
    auto const ip6Sm = sm->ip6IntfStatusSm("Ethernet1");
    auto const cleanup = sm->intfCleanupSm();
    auto const task = cleanup->task();
    auto const ip = fixture.ipStatus->vrfIpIntfStatus("red");
    auto const ip6 = fixture.ip6Status->vrfIp6IntfStatus("red");
    EXPECT_FALSE(ip->ipIntfStatus("Ethernet1")->notifieeList().empty());
    EXPECT_FALSE(ip6->intfStatus("Ethernet1")->notifieeList().empty());
    EXPECT_FALSE(fixture.tables->notifieeList().empty());

    manager->retire();

    EXPECT_TRUE(fixture.ipStatus->notifieeList().empty());
    EXPECT_TRUE(fixture.ip6Status->notifieeList().empty());
    EXPECT_TRUE(fixture.tables->notifieeList().empty());
    EXPECT_TRUE(fixture.table("red")->notifieeList().empty());
    EXPECT_TRUE(fixture.virtualIp->notifieeList().empty());
    EXPECT_TRUE(fixture.virtualIp6->notifieeList().empty());
    EXPECT_TRUE(fixture.helper->deviceIntfStatusDir("red")->notifieeList().empty());
    EXPECT_TRUE(ip->notifieeList().empty());
    EXPECT_TRUE(ip6->notifieeList().empty());
    EXPECT_TRUE(ip->ipIntfStatus("Ethernet1")->notifieeList().empty());
    EXPECT_TRUE(ip6->intfStatus("Ethernet1")->notifieeList().empty());
    EXPECT_TRUE(task->notifieeList().empty());
}

// Without a clean-up delay an address that waits is dropped with its interface before it is
// withdrawn, and its withdrawal then fails on whoever has the address or its subnet. Whatever fails
// and wherever it fails: all that there is can be destroyed, and what is left goes on.
TEST(Destruction, WhateverFailsOnTheWayEverythingCanGo) {
    Pell::ThrowOnAssertion const throwOnAssertion;
    std::size_t failures = 0;
    auto const contained = [&](auto const& action) {
        try {
            action();
        } catch (Pell::AssertionError const&) {
            ++failures;
        }
    };
    bool acted = true;
    for (std::size_t when = 1; acted; ++when) {
        auto fixture = std::make_unique<ManagerFixture>(atOnce);
        fixture->managerIs();
        fixture->vrfIs("blue");
        Meddler meddler(when, [&] { fixture->manager = nullptr; });
        contained([&] { live(*fixture, meddler, waiting); });
        contained([&] { fixture->tableIs("blue"); });
        if (fixture->manager) {
            fixture->ip("blue", "Ethernet1", "10.0.0.1/24");
            fixture->ip("blue", "Ethernet2", waiting);
            contained([&] { fixture->ipDel("blue", "Ethernet2"); });
            EXPECT_THAT(fixture->rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));
        }
        acted = meddler.acted();
        contained([&] {
            Zin::Turn const turn;
            fixture->manager = nullptr;
        });
        EXPECT_EQ(fixture->time.scheduler()->nextExpiry(), Velk::never);
    }
    EXPECT_GT(failures, 0u);
}

TEST(Destruction, AMachineThatWasMutedIsHeardOfByNobodyEither) {
    ManagerFixture fixture;
    fixture.managerIs();
    fixture.vrfIs("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    auto const sm = fixture.sm("red");
    sm->hasNotificationActiveIs(false);
    sm->retire();
    EXPECT_TRUE(sm->kernelIntfDir()->notifieeList().empty());
    EXPECT_TRUE(sm->virtualIpStatus()->notifieeList().empty());
    EXPECT_TRUE(fixture.table("red")->notifieeList().empty());
    EXPECT_TRUE(fixture.ipStatus->vrfIpIntfStatus("red")->notifieeList().empty());
}

}  // namespace
}  // namespace IpLib
