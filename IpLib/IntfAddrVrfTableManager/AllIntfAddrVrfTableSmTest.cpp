#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableTypes/TestRecorders.h"
#include "testing/TraceRecorder.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Bench {
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
    Testing::Events events;
    Testing::Recorder<IntfAddrVrfTable> const recorder{table, events};
    Testing::TraceRecorder traces{"AllIntfAddrVrfTableSm"};
    Zin::Ptr<AllIntfAddrVrfTableSm> sm;
};

TEST(AllIntfAddrVrfTableSm, BindsATableToTheStatusThatIsThere) {
    Bench bench;
    bench.smIs();
    auto const ip = bench.ipIs("red");
    auto const ip6 = bench.ip6Is("red");

    bench.tables->intfAddrVrfTableIs("red", bench.table);

    EXPECT_EQ(bench.table->vrfIpIntfStatus(), ip);
    EXPECT_EQ(bench.table->vrfIp6IntfStatus(), ip6);
    EXPECT_THAT(bench.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", ip),
                                          fmt::format("vrfIp6IntfStatus {}", ip6)));
}

TEST(AllIntfAddrVrfTableSm, AFamilyThatComesLaterIsTheOnlyOneToChange) {
    Bench bench;
    bench.smIs();
    auto const ip = bench.ipIs("red");
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), ip);
    EXPECT_EQ(bench.table->vrfIp6IntfStatus(), nullptr);
    bench.events.clear();

    auto const ip6 = bench.ip6Is("red");
    EXPECT_EQ(bench.table->vrfIp6IntfStatus(), ip6);
    EXPECT_THAT(bench.events, ElementsAre(fmt::format("vrfIp6IntfStatus {}", ip6)));
}

TEST(AllIntfAddrVrfTableSm, StatusThatComesAfterTheTableIsBound) {
    Bench bench;
    bench.smIs();
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    EXPECT_THAT(bench.events, IsEmpty());
    auto const ip = bench.ipIs("red");
    bench.ipIs("blue");
    EXPECT_THAT(bench.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", ip)));
}

TEST(AllIntfAddrVrfTableSm, StatusOfAVrfWithoutATableIsOnlyTraced) {
    Bench bench;
    bench.smIs();
    bench.traces.clear();
    bench.ipIs("red");
    bench.ip6Is("red");
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre("8 AllIntfAddrVrfTableSm::handleVrfIpIntfStatus vrf red isTablePresent false",
                    "8 AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus vrf red isTablePresent "
                    "false"));
    EXPECT_TRUE(bench.tables->intfAddrVrfTable().empty());
}

TEST(AllIntfAddrVrfTableSm, TellsOfEachChange) {
    Bench bench;
    bench.smIs();
    EXPECT_THAT(bench.traces.messages(),
                ElementsAre("8 AllIntfAddrVrfTableSm::handleInitialized 0 tables"));
    bench.traces.clear();
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.ipIs("red");
    bench.ip6Is("red");
    bench.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre(
            "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleVrfIpIntfStatus vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleVrfIp6IntfStatus vrf red isTablePresent true",
            "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent false"));
}

TEST(AllIntfAddrVrfTableSm, StatusThatGoesLeavesNullAndTheTable) {
    Bench bench;
    bench.smIs();
    bench.ipIs("red");
    bench.ip6Is("red");
    bench.tables->intfAddrVrfTableIs("red", bench.table);

    bench.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), nullptr);
    EXPECT_NE(bench.table->vrfIp6IntfStatus(), nullptr);
    bench.ip6Status->vrfIp6IntfStatusDel("red");
    EXPECT_EQ(bench.table->vrfIp6IntfStatus(), nullptr);
    EXPECT_EQ(bench.tables->intfAddrVrfTable("red"), bench.table);
}

TEST(AllIntfAddrVrfTableSm, ReplacedStatusAndReplacedTablesAreBound) {
    Bench bench;
    bench.smIs();
    bench.ipIs("red");
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    auto const ip = bench.ipIs("red");
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), ip);

    auto const another = intfAddrVrfTableFactory();
    bench.tables->intfAddrVrfTableIs("red", another);
    EXPECT_EQ(another->vrfIpIntfStatus(), ip);
    bench.events.clear();
    bench.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(another->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(AllIntfAddrVrfTableSm, TablesThatAreThereFromTheStartAreBoundOnceInTheirOrder) {
    Bench bench;
    auto const redIp = bench.ipIs("red");
    auto const blueIp = bench.ipIs("blue");
    auto const blue = intfAddrVrfTableFactory();
    auto const green = intfAddrVrfTableFactory();
    bench.tables->intfAddrVrfTableIs("blue", blue);
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.tables->intfAddrVrfTableIs("green", green);

    bench.smIs();

    EXPECT_EQ(bench.table->vrfIpIntfStatus(), redIp);
    EXPECT_EQ(blue->vrfIpIntfStatus(), blueIp);
    EXPECT_EQ(green->vrfIpIntfStatus(), nullptr);
    EXPECT_THAT(bench.events, ElementsAre(fmt::format("vrfIpIntfStatus {}", redIp)));
    EXPECT_THAT(
        bench.traces.messages(),
        ElementsAre("8 AllIntfAddrVrfTableSm::handleInitialized 3 tables",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf blue isTablePresent true",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf red isTablePresent true",
                    "8 AllIntfAddrVrfTableSm::handleIntfAddrVrfTable vrf green isTablePresent "
                    "true"));
}

TEST(AllIntfAddrVrfTableSm, KnowsWhatItWasBuiltFrom) {
    Bench bench;
    bench.smIs();
    EXPECT_EQ(bench.sm->ipStatus(), bench.ipStatus);
    EXPECT_EQ(bench.sm->ip6Status(), bench.ip6Status);
    EXPECT_EQ(bench.sm->allIntfAddrVrfTable(), bench.tables);
    EXPECT_TRUE(bench.sm->builtFrom(bench.ipStatus, bench.ip6Status, bench.tables));
    EXPECT_FALSE(bench.sm->builtFrom(Ip::statusFactory(), bench.ip6Status, bench.tables));
    EXPECT_FALSE(bench.sm->builtFrom(bench.ipStatus, Ip6::statusFactory(), bench.tables));
    EXPECT_FALSE(
        bench.sm->builtFrom(bench.ipStatus, bench.ip6Status, allIntfAddrVrfTableFactory()));
}

TEST(AllIntfAddrVrfTableSm, AMachineThatIsMutedOrRetiredOrGoneBindsNothing) {
    Bench bench;
    bench.smIs();
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.sm->hasNotificationActiveIs(false);
    bench.ipIs("red");
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), nullptr);
    bench.sm->hasNotificationActiveIs(true);
    auto const ip = bench.ipIs("red");
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), ip);

    bench.sm->retire();
    bench.traces.clear();
    bench.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_EQ(bench.table->vrfIpIntfStatus(), ip);
    bench.sm = nullptr;
    bench.ip6Is("red");
    bench.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(bench.traces.messages(), IsEmpty());
}

}  // namespace
}  // namespace IpLib
