#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableManager.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/ManagerBench.h"
#include "Zin/Errors.h"
#include "testing/TraceRecorder.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using Testing::ManagerBench;
using Testing::Texts;

TEST(IntfAddrVrfTableManager, TablesAreBoundAndFilledBeforeTheConstructionIsOver) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.vrfIs("blue");
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    bench.ip6("blue", "Ethernet1", "2001:db8::1/64");

    bench.managerIs();

    EXPECT_EQ(bench.table("red")->vrfIpIntfStatus(), bench.ipStatus->vrfIpIntfStatus("red"));
    EXPECT_EQ(bench.table("blue")->vrfIp6IntfStatus(), bench.ip6Status->vrfIp6IntfStatus("blue"));
    EXPECT_EQ(bench.sm("red")->intfAddrVrfTable(), bench.table("red"));
    EXPECT_EQ(bench.sm("red")->vrfIpIntfStatus(), bench.ipStatus->vrfIpIntfStatus("red"));
    EXPECT_EQ(bench.sm("blue")->intfAddrVrfTable(), bench.table("blue"));
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows("blue"), ElementsAre("2001:db8::1/64 Ethernet1"));
}

TEST(IntfAddrVrfTableManager, TablesAreBoundToTheirStatusBeforeTheirMachinesStart) {
    ManagerBench bench;
    bench.vrfIs("red");
    Testing::TraceRecorder traces;
    bench.managerIs();
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
    ManagerBench bench;
    bench.managerIs();
    bench.vrfIs("red");
    bench.vrfIs("blue");
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    bench.ip("blue", "Ethernet2", "10.0.0.1/24");
    bench.ip6("blue", "Ethernet2", "fe80::1/64");
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet2", "fe80::1/64 Ethernet2"));

    bench.ipDel("blue", "Ethernet2");
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows("blue"), ElementsAre("fe80::1/64 Ethernet2"));
}

TEST(IntfAddrVrfTableManager, StatusOfAWholeVrfComesAndGoes) {
    ManagerBench bench;
    bench.managerIs();
    bench.vrfIs("red");
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    auto const status = bench.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(bench.table("red")->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    bench.time.advance(1.5);
    EXPECT_THAT(bench.rows("red"), IsEmpty());

    bench.ipStatus->vrfIpIntfStatusIs("red", status);
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

TEST(IntfAddrVrfTableManager, AskingAgainWithTheSameInputsKeepsTheMachines) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    auto& manager = *bench.manager;
    auto const binding = manager.allIntfAddrVrfTableSm();
    auto const machines = manager.intfAddrVrfTableSmManager();
    Testing::TraceRecorder const traces;

    EXPECT_EQ(manager.allIntfAddrVrfTableSmIs(bench.ipStatus, bench.ip6Status, bench.tables),
              binding);
    EXPECT_EQ(manager.intfAddrVrfTableSmManagerIs(bench.factory, bench.tables), machines);
    EXPECT_THAT(traces.messages(), IsEmpty());
    EXPECT_FALSE(binding->retired());
    EXPECT_FALSE(machines->retired());
}

TEST(IntfAddrVrfTableManager, AnotherStatusBindsAllTablesAnew) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    auto const old = bench.manager->allIntfAddrVrfTableSm();
    auto const another = Ip::statusFactory();
    another->vrfIpIntfStatusIs("red", Ip::vrfIpIntfStatusFactory());

    auto const fresh =
        bench.manager->allIntfAddrVrfTableSmIs(another, bench.ip6Status, bench.tables);

    EXPECT_NE(fresh, old);
    EXPECT_EQ(bench.manager->allIntfAddrVrfTableSm(), fresh);
    EXPECT_TRUE(old->retired());
    EXPECT_TRUE(fresh->hasNotificationActive());
    EXPECT_EQ(bench.table("red")->vrfIpIntfStatus(), another->vrfIpIntfStatus("red"));
}

TEST(IntfAddrVrfTableManager, AnotherDirectoryIsServedInsteadOfTheOldOne) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    auto const oldSm = bench.sm("red");
    auto const another = allIntfAddrVrfTableFactory();
    another->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());

    bench.manager->intfAddrVrfTableSmManagerIs(bench.factory, another);

    EXPECT_TRUE(oldSm->retired());
    EXPECT_EQ(bench.sm("red"), nullptr);
    EXPECT_EQ(bench.sm("blue")->intfAddrVrfTable(), another->intfAddrVrfTable("blue"));
    EXPECT_EQ(bench.uses("red"), 0u);
    EXPECT_EQ(bench.uses("blue"), 1u);
}

TEST(IntfAddrVrfTableManager, ItsMachinesCanBeTakenAway) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    auto const binding = bench.manager->allIntfAddrVrfTableSmDel();
    EXPECT_TRUE(binding->retired());
    EXPECT_EQ(bench.manager->allIntfAddrVrfTableSm(), nullptr);
    EXPECT_EQ(bench.manager->allIntfAddrVrfTableSmDel(), nullptr);
    auto const machines = bench.manager->intfAddrVrfTableSmManagerDel();
    EXPECT_TRUE(machines->retired());
    EXPECT_EQ(bench.manager->intfAddrVrfTableSmManager(), nullptr);
    EXPECT_EQ(bench.manager->intfAddrVrfTableSmManagerDel(), nullptr);
    EXPECT_EQ(bench.uses("red"), 0u);
}

TEST(IntfAddrVrfTableManager, WhenItGoesTablesStayAndAreNotUpdatedAnyMore) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.managerIs();
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(bench.uses("red"), 1u);

    bench.manager = nullptr;
    EXPECT_EQ(bench.uses("red"), 0u);
    bench.ip("red", "Ethernet2", "10.0.1.1/24");
    bench.ipDel("red", "Ethernet1");
    bench.time.advance(10.0);
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    bench.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_NE(bench.table("red")->vrfIpIntfStatus(), nullptr);
    bench.tableIs("blue");
    EXPECT_EQ(bench.uses("blue"), 0u);
}

TEST(IntfAddrVrfTableManager, HoldsWhatItWasGiven) {
    ManagerBench bench;
    bench.managerIs();
    EXPECT_EQ(bench.manager->ipStatus(), bench.ipStatus);
    EXPECT_EQ(bench.manager->ip6Status(), bench.ip6Status);
    EXPECT_EQ(bench.manager->smFactory(), bench.factory);
    EXPECT_EQ(bench.manager->allIntfAddrVrfTable(), bench.tables);
}

TEST(IntfAddrVrfTableManager, AVrfWithTooLongANameIsRefusedAndTheOthersGoOn) {
    std::string const tooLong(148, 'v');
    ManagerBench bench;
    bench.managerIs();
    bench.vrfIs("red");
    try {
        bench.vrfIs(tooLong);
        ADD_FAILURE() << "not refused";
    } catch (Zin::RangeError const& error) {
        EXPECT_STREQ(error.what(), "Zin::String::bytes > 150 not allowed");
    }
    EXPECT_EQ(bench.sm(tooLong), nullptr);
    bench.vrfIs("blue");
    bench.ip("red", "Ethernet1", "10.0.0.1/24");
    bench.ip("blue", "Ethernet1", "10.0.0.1/24");
    EXPECT_THAT(bench.rows("red"), ElementsAre("10.0.0.1/24 Ethernet1"));
    EXPECT_THAT(bench.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));

    bench.tables->intfAddrVrfTableDel(tooLong);
    EXPECT_EQ(bench.uses(tooLong), 0u);
}

TEST(IntfAddrVrfTableManager, AVrfThatIsRefusedAtTheStartLeavesTheOthersServedInATurn) {
    ManagerBench bench;
    bench.vrfIs("red");
    bench.vrfIs(std::string(148, 'v'));
    bench.vrfIs("blue");
    bench.ip("blue", "Ethernet1", "10.0.0.1/24");
    EXPECT_THROW(bench.managerIs(), Zin::RangeError);
    EXPECT_EQ(bench.manager, nullptr);

    auto const inATurn = [&] {
        Zin::Turn turn;
        bench.managerIs();
    };
    EXPECT_THROW(inATurn(), Zin::RangeError);
    ASSERT_NE(bench.manager, nullptr);
    EXPECT_NE(bench.sm("red"), nullptr);
    EXPECT_THAT(bench.rows("blue"), ElementsAre("10.0.0.1/24 Ethernet1"));
}

}  // namespace
}  // namespace IpLib
