#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableTestKit/TableRecorder.h"
#include "TestKit/TraceRecorder.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Fixture {
    void smIs() { sm = allIntfAddrVrfTableSmFactory(ipStatus, ip6Status, tables); }
    Zin::Ptr<Ip::VrfIpIntfStatus> ipIs(L3::VrfName const& vrf) {
        ipStatus->vrfIpIntfStatusIs(vrf, Ip::vrfIpIntfStatusFactory());
        return ipStatus->vrfIpIntfStatus(vrf);
    }
    Zin::Ptr<Ip6::VrfIp6IntfStatus> ip6Is(L3::VrfName const& vrf) {
        ip6Status->vrfIp6IntfStatusIs(vrf, Ip6::vrfIp6IntfStatusFactory());
        return ip6Status->vrfIp6IntfStatus(vrf);
    }

    Zin::Ptr<Ip::Status> const ipStatus = Ip::statusFactory();
    Zin::Ptr<Ip6::Status> const ip6Status = Ip6::statusFactory();
    Zin::Ptr<AllIntfAddrVrfTable> const tables = allIntfAddrVrfTableFactory();
    Zin::Ptr<IntfAddrVrfTable> const table = intfAddrVrfTableFactory();
    TestKit::Events events;
    TestKit::Recorder<IntfAddrVrfTable> const recorder{table, events};
    TestKit::TraceRecorder traces{"AllIntfAddrVrfTableSm"};
    Zin::Ptr<AllIntfAddrVrfTableSm> sm;
};

TEST(AllIntfAddrVrfTableSm, BindsATableToTheStatusThatIsThere) {
    Fixture fixture;
    fixture.smIs();
    auto const ip = fixture.ipIs("red");
    auto const ip6 = fixture.ip6Is("red");

    fixture.tables->intfAddrVrfTableIs("red", fixture.table);

    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), ip);
    EXPECT_EQ(fixture.table->vrfIp6IntfStatus(), ip6);
    EXPECT_THAT(fixture.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", ip),
                                            fmt::format("vrfIp6IntfStatus {}", ip6)));
}

TEST(AllIntfAddrVrfTableSm, AFamilyThatComesLaterIsTheOnlyOneToChange) {
    Fixture fixture;
    fixture.smIs();
    auto const ip = fixture.ipIs("red");
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), ip);
    EXPECT_EQ(fixture.table->vrfIp6IntfStatus(), nullptr);
    fixture.events.clear();

    auto const ip6 = fixture.ip6Is("red");
    EXPECT_EQ(fixture.table->vrfIp6IntfStatus(), ip6);
    EXPECT_THAT(fixture.events, ElementsAre(fmt::format("vrfIp6IntfStatus {}", ip6)));
}

TEST(AllIntfAddrVrfTableSm, StatusThatComesAfterTheTableIsBound) {
    Fixture fixture;
    fixture.smIs();
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    EXPECT_THAT(fixture.events, IsEmpty());
    auto const ip = fixture.ipIs("red");
    fixture.ipIs("blue");
    EXPECT_THAT(fixture.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", ip)));
}

TEST(AllIntfAddrVrfTableSm, StatusOfAVrfWithoutATableIsOnlyTraced) {
    Fixture fixture;
    fixture.smIs();
    fixture.traces.clear();
    fixture.ipIs("red");
    fixture.ip6Is("red");
    EXPECT_THAT(
        fixture.traces.messages(),
        ElementsAre("8 AllIntfAddrVrfTableSm::handleVrfIpIntfStatus vrf red isTablePresent false",
                    "8 AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus vrf red isTablePresent "
                    "false"));
    EXPECT_TRUE(fixture.tables->intfAddrVrfTable().empty());
}

TEST(AllIntfAddrVrfTableSm, TellsOfEachChange) {
    Fixture fixture;
    fixture.smIs();
    EXPECT_THAT(fixture.traces.messages(),
                ElementsAre("8 AllIntfAddrVrfTableSm::handleInitialized 0 tables"));
    fixture.traces.clear();
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.ipIs("red");
    fixture.ip6Is("red");
    fixture.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(
        fixture.traces.messages(),
        ElementsAre(
            "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleVrfIpIntfStatus vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent false"));
}

TEST(AllIntfAddrVrfTableSm, StatusThatGoesLeavesNullAndTheTable) {
    Fixture fixture;
    fixture.smIs();
    fixture.ipIs("red");
    fixture.ip6Is("red");
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);

    fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), nullptr);
    EXPECT_NE(fixture.table->vrfIp6IntfStatus(), nullptr);
    fixture.ip6Status->vrfIp6IntfStatusDel("red");
    EXPECT_EQ(fixture.table->vrfIp6IntfStatus(), nullptr);
    EXPECT_EQ(fixture.tables->intfAddrVrfTable("red"), fixture.table);
}

TEST(AllIntfAddrVrfTableSm, ReplacedStatusAndReplacedTablesAreBound) {
    Fixture fixture;
    fixture.smIs();
    fixture.ipIs("red");
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    auto const ip = fixture.ipIs("red");
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), ip);

    auto const another = intfAddrVrfTableFactory();
    fixture.tables->intfAddrVrfTableIs("red", another);
    EXPECT_EQ(another->vrfIpIntfStatus(), ip);
    fixture.events.clear();
    fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(another->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(AllIntfAddrVrfTableSm, TablesThatAreThereFromTheStartAreBoundOnceInTheirOrder) {
    Fixture fixture;
    auto const redIp = fixture.ipIs("red");
    auto const redIp6 = fixture.ip6Is("red");
    auto const blueIp = fixture.ipIs("blue");
    auto const blue = intfAddrVrfTableFactory();
    TestKit::Events blueEvents;
    TestKit::Recorder<IntfAddrVrfTable> const blueRecorder(blue, blueEvents);
    auto const green = intfAddrVrfTableFactory();
    fixture.tables->intfAddrVrfTableIs("blue", blue);
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.tables->intfAddrVrfTableIs("green", green);

    fixture.smIs();

    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), redIp);
    EXPECT_EQ(fixture.table->vrfIp6IntfStatus(), redIp6);
    EXPECT_EQ(blue->vrfIpIntfStatus(), blueIp);
    EXPECT_EQ(blue->vrfIp6IntfStatus(), nullptr);
    EXPECT_EQ(green->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", redIp),
                                            fmt::format("vrfIp6IntfStatus {}", redIp6)));
    EXPECT_THAT(blueEvents, ElementsAre(fmt::format("vrfIpIntfStatus {}", blueIp)));
    EXPECT_THAT(
        fixture.traces.messages(),
        ElementsAre("8 AllIntfAddrVrfTableSm::handleInitialized 3 tables",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf blue isTablePresent true",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent true",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf green isTablePresent "
                    "true"));
}

TEST(AllIntfAddrVrfTableSm, KnowsWhatItWasBuiltFrom) {
    Fixture fixture;
    fixture.smIs();
    EXPECT_EQ(fixture.sm->ipStatus(), fixture.ipStatus);
    EXPECT_EQ(fixture.sm->ip6Status(), fixture.ip6Status);
    EXPECT_EQ(fixture.sm->allIntfAddrVrfTable(), fixture.tables);
    EXPECT_TRUE(fixture.sm->builtFrom(fixture.ipStatus, fixture.ip6Status, fixture.tables));
    EXPECT_FALSE(fixture.sm->builtFrom(Ip::statusFactory(), fixture.ip6Status, fixture.tables));
    EXPECT_FALSE(fixture.sm->builtFrom(fixture.ipStatus, Ip6::statusFactory(), fixture.tables));
    EXPECT_FALSE(
        fixture.sm->builtFrom(fixture.ipStatus, fixture.ip6Status, allIntfAddrVrfTableFactory()));
}

TEST(AllIntfAddrVrfTableSm, AMachineThatIsMutedOrRetiredOrGoneBindsNothing) {
    Fixture fixture;
    fixture.smIs();
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.sm->hasNotificationActiveIs(false);
    fixture.ipIs("red");
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), nullptr);
    fixture.sm->hasNotificationActiveIs(true);
    auto const ip = fixture.ipIs("red");
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), ip);

    fixture.sm->retire();
    fixture.traces.clear();
    fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(fixture.table->vrfIpIntfStatus(), ip);
    fixture.sm = nullptr;
    fixture.ip6Is("red");
    fixture.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(fixture.traces.messages(), IsEmpty());
}

}  // namespace
}  // namespace IpLib
