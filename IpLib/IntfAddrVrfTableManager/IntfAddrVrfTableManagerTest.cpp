#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "TestKit/TraceRecorder.h"
#include "Zin/Errors.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::SizeIs;
using TestKit::ManagerFixture;
using TestKit::Texts;

TEST(IntfAddrVrfTableManager, TablesAreBoundAndFilledBeforeTheConstructionIsOver) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.vrfIs("blue");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip6("blue", "Ethernet1", "2001:db8::1/64");

    fixture.managerIs();

    EXPECT_THAT(fixture.manager->intfAddrVrfTableSmManager()->intfAddrVrfTableSm(), SizeIs(2));
    for (auto const* const vrf : {"red", "blue"}) {
        SCOPED_TRACE(vrf);
        EXPECT_EQ(fixture.table(vrf)->vrfIpIntfStatus(), fixture.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(fixture.table(vrf)->vrfIp6IntfStatus(), fixture.ip6Status->vrfIp6IntfStatus(vrf));
        EXPECT_EQ(fixture.sm(vrf)->intfAddrVrfTable(), fixture.table(vrf));
        EXPECT_EQ(fixture.sm(vrf)->vrfIpIntfStatus(), fixture.ipStatus->vrfIpIntfStatus(vrf));
        EXPECT_EQ(fixture.uses(vrf), 1u);
    }
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(IntfAddrVrfTableManager, TablesAreBoundToTheirStatusBeforeTheirMachinesStart) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    TestKit::TraceRecorder traces;
    fixture.managerIs();
    Texts starts;
    for (auto const& line : traces.messages()) {
        if (line.ends_with(" tables")) {
            starts.push_back(line);
        }
    }
    EXPECT_THAT(starts, ElementsAre("8 AllIntfAddrVrfTableSm::handleInitialized 1 tables",
                                    "8 IntfAddrVrfTableSmManager::handleInitialized 1 tables"));
}

TEST(IntfAddrVrfTableManager, AddressesFlowIntoTheTableOfTheirVrf) {
    ManagerFixture fixture;
    fixture.managerIs();
    fixture.vrfIs("red");
    fixture.vrfIs("blue");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip("blue", "Ethernet2", "10.0.0.1/24");
    fixture.ip6("blue", "Ethernet2", "fe80::1/64");
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet2", "fe80::1/64 Ethernet2"));

    fixture.ipDel("blue", "Ethernet2");
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("fe80::1/64 Ethernet2"));
}

TEST(IntfAddrVrfTableManager, StatusOfAWholeVrfComesAndGoes) {
    ManagerFixture fixture;
    fixture.managerIs();
    fixture.vrfIs("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    auto const status = fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(fixture.table("red")->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    fixture.time.advance(1.5);
    EXPECT_THAT(fixture.rows("red"), IsEmpty());

    fixture.ipStatus->vrfIpIntfStatusIs("red", status);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(IntfAddrVrfTableManager, AskingAgainWithTheSameInputsKeepsTheMachines) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    auto& manager = *fixture.manager;
    auto const binding = manager.allIntfAddrVrfTableSm();
    auto const machines = manager.intfAddrVrfTableSmManager();
    TestKit::TraceRecorder const traces;

    EXPECT_EQ(manager.allIntfAddrVrfTableSmIs(fixture.ipStatus, fixture.ip6Status, fixture.tables),
              binding);
    EXPECT_EQ(manager.intfAddrVrfTableSmManagerIs(fixture.factory, fixture.tables), machines);
    EXPECT_THAT(traces.messages(), IsEmpty());
    EXPECT_FALSE(binding->retired());
    EXPECT_FALSE(machines->retired());
}

TEST(IntfAddrVrfTableManager, AnotherStatusBindsAllTablesAnew) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    auto const old = fixture.manager->allIntfAddrVrfTableSm();
    auto const another = Ip::statusFactory();
    another->vrfIpIntfStatusIs("red", Ip::vrfIpIntfStatusFactory());

    auto const fresh =
        fixture.manager->allIntfAddrVrfTableSmIs(another, fixture.ip6Status, fixture.tables);

    EXPECT_NE(fresh, old);
    EXPECT_EQ(fixture.manager->allIntfAddrVrfTableSm(), fresh);
    EXPECT_TRUE(old->retired());
    EXPECT_TRUE(fresh->hasNotificationActive());
    EXPECT_EQ(fixture.table("red")->vrfIpIntfStatus(), another->vrfIpIntfStatus("red"));
}

TEST(IntfAddrVrfTableManager, AnotherDirectoryIsServedInsteadOfTheOldOne) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    auto const oldSm = fixture.sm("red");
    auto const another = allIntfAddrVrfTableFactory();
    another->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());

    fixture.manager->intfAddrVrfTableSmManagerIs(fixture.factory, another);

    EXPECT_TRUE(oldSm->retired());
    EXPECT_EQ(fixture.sm("red"), nullptr);
    EXPECT_EQ(fixture.sm("blue")->intfAddrVrfTable(), another->intfAddrVrfTable("blue"));
    EXPECT_EQ(fixture.uses("red"), 0u);
    EXPECT_EQ(fixture.uses("blue"), 1u);
}

TEST(IntfAddrVrfTableManager, ItsMachinesCanBeTakenAway) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    auto const binding = fixture.manager->allIntfAddrVrfTableSmDel();
    EXPECT_TRUE(binding->retired());
    EXPECT_EQ(fixture.manager->allIntfAddrVrfTableSm(), nullptr);
    EXPECT_EQ(fixture.manager->allIntfAddrVrfTableSmDel(), nullptr);
    auto const machines = fixture.manager->intfAddrVrfTableSmManagerDel();
    EXPECT_TRUE(machines->retired());
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSmManager(), nullptr);
    EXPECT_EQ(fixture.manager->intfAddrVrfTableSmManagerDel(), nullptr);
    EXPECT_EQ(fixture.uses("red"), 0u);
}

TEST(IntfAddrVrfTableManager, WhenItGoesTablesStayAndAreNotUpdatedAnyMore) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.managerIs();
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(fixture.uses("red"), 1u);

    fixture.manager = nullptr;
    EXPECT_EQ(fixture.uses("red"), 0u);
    fixture.ip("red", "Ethernet2", "10.0.1.1/24");
    fixture.ipDel("red", "Ethernet1");
    fixture.time.advance(10.0);
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_NE(fixture.table("red")->vrfIpIntfStatus(), nullptr);
    fixture.tableIs("blue");
    EXPECT_EQ(fixture.uses("blue"), 0u);
}

TEST(IntfAddrVrfTableManager, HoldsWhatItWasGiven) {
    ManagerFixture fixture;
    fixture.managerIs();
    EXPECT_EQ(fixture.manager->ipStatus(), fixture.ipStatus);
    EXPECT_EQ(fixture.manager->ip6Status(), fixture.ip6Status);
    EXPECT_EQ(fixture.manager->smFactory(), fixture.factory);
    EXPECT_EQ(fixture.manager->allIntfAddrVrfTable(), fixture.tables);
}

TEST(IntfAddrVrfTableManager, AVrfWithTooLongANameIsRefusedAndTheOthersGoOn) {
    std::string const tooLong(148, 'v');
    ManagerFixture fixture;
    fixture.managerIs();
    fixture.vrfIs("red");
    try {
        fixture.vrfIs(tooLong);
        ADD_FAILURE() << "not refused";
    } catch (Zin::RangeError const& error) {
        EXPECT_STREQ(error.what(), "Zin::String::bytes > 150 not allowed");
    }
    EXPECT_EQ(fixture.sm(tooLong), nullptr);
    fixture.vrfIs("blue");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip("blue", "Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(fixture.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));

    fixture.tables->intfAddrVrfTableDel(tooLong);
    EXPECT_EQ(fixture.uses(tooLong), 0u);
}

TEST(IntfAddrVrfTableManager, AVrfThatIsRefusedAtTheStartLeavesTheOthersServedInATurn) {
    ManagerFixture fixture;
    fixture.vrfIs("red");
    fixture.vrfIs(std::string(148, 'v'));
    fixture.vrfIs("blue");
    fixture.ip("blue", "Ethernet1", "10.0.0.1/24");
    EXPECT_THROW(fixture.managerIs(), Zin::RangeError);
    EXPECT_EQ(fixture.manager, nullptr);

    auto const inATurn = [&] {
        Zin::Turn turn;
        fixture.managerIs();
    };
    EXPECT_THROW(inATurn(), Zin::RangeError);
    ASSERT_NE(fixture.manager, nullptr);
    EXPECT_NE(fixture.sm("red"), nullptr);
    EXPECT_THAT(fixture.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(IntfAddrVrfTableManager, GivesBackTheDirectoryOfATableThatIsTakenAwayAsItGoes) {
    ManagerFixture fixture({.intfCleanupDelay = 0.0});
    fixture.managerIs();
    for (char const* const vrf : {"red", "blue"}) {
        fixture.vrfIs(vrf);
        fixture.ip(vrf, "Ethernet1", "10.0.0.1/24");
    }
    class Taker final : public IntfAddrVrfTable::Notifiee {
    public:
        Taker(ManagerFixture& fixture, char const* vrf, char const* other)
            : fixture_(fixture), other_(other) {
            notifierIs(fixture.table(vrf));
        }

    private:
        void handleIntfAddrEntry(IntfAddrEntryContent const&) override {
            fixture_.tables->intfAddrVrfTableDel(other_);
        }
        ManagerFixture& fixture_;
        char const* const other_;
    };
    Taker const takesBlue(fixture, "red", "blue");
    Taker const takesRed(fixture, "blue", "red");

    fixture.manager = nullptr;

    EXPECT_EQ(fixture.uses("red"), 0u);
    EXPECT_EQ(fixture.uses("blue"), 0u);
}

// What an observer of the table does at the first row of a machine that is being made, and what
// stands in the table in the end, must be the same whether it does that then or right after.
Texts rowsAfter(bool isWithin, Zin::Seconds delay,
                std::function<void(ManagerFixture&, Zin::Ptr<IntfAddrVrfTable> const&)> act) {
    class Observer final : public IntfAddrVrfTable::Notifiee {
    public:
        std::function<void()> act;

    private:
        void handleIntfAddrEntryFromAddr(IntfAddrEntryKey const&) override {
            if (act) {
                std::exchange(act, nullptr)();
            }
        }
    };
    ManagerFixture fixture({.intfCleanupDelay = delay});
    fixture.managerIs();
    fixture.vrfIs("red");
    auto const table = fixture.tables->intfAddrVrfTableDel("red");
    fixture.ip("red", "Ethernet1", "10.0.0.1/24");
    fixture.ip("red", "Ethernet2", "10.0.2.1/24");
    Observer observer;
    if (isWithin) {
        observer.act = [&] { act(fixture, table); };
    }
    observer.notifierIs(table);
    fixture.tables->intfAddrVrfTableIs("red", table);
    if (!isWithin) {
        act(fixture, table);
    }
    EXPECT_EQ(fixture.uses("red"), fixture.table("red") ? 1u : 0u);
    return TestKit::rowsOf(*table);
}

TEST(IntfAddrVrfTableManager, AMachineThatIsMadeInVainTakesNothingOfItsSuccessorAlong) {
    auto const sameTableAgain = [](ManagerFixture& fixture,
                                   Zin::Ptr<IntfAddrVrfTable> const& table) {
        fixture.tables->intfAddrVrfTableDel("red");
        fixture.tables->intfAddrVrfTableIs("red", table);
    };
    auto const managerAgain = [](ManagerFixture& fixture, Zin::Ptr<IntfAddrVrfTable> const&) {
        fixture.manager->retire();  // as its owner does
        fixture.manager = nullptr;
        fixture.managerIs();
    };
    auto const sameTableAgainAndGone = [&](ManagerFixture& fixture,
                                           Zin::Ptr<IntfAddrVrfTable> const& table) {
        sameTableAgain(fixture, table);
        fixture.tables->intfAddrVrfTableDel("red");
    };
    auto const gone = [](ManagerFixture& fixture, Zin::Ptr<IntfAddrVrfTable> const&) {
        fixture.tables->intfAddrVrfTableDel("red");
    };
    for (Zin::Seconds const delay : {0.0, 1.5}) {
        SCOPED_TRACE(delay);
        EXPECT_THAT(rowsAfter(true, delay, sameTableAgain), SizeIs(2));
        EXPECT_THAT(rowsAfter(true, delay, managerAgain), SizeIs(2));
        EXPECT_EQ(rowsAfter(true, delay, gone), rowsAfter(false, delay, gone));
        EXPECT_EQ(rowsAfter(true, delay, sameTableAgainAndGone),
                  rowsAfter(false, delay, sameTableAgainAndGone));
    }
}

}  // namespace
}  // namespace IpLib
