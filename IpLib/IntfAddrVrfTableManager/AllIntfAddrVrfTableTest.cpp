#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/TestRecorders.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Bench {
    Zin::Ptr<AllIntfAddrVrfTable> const tables = allIntfAddrVrfTableFactory();
    Zin::Ptr<IntfAddrVrfTable> const table = intfAddrVrfTableFactory();
    Testing::Events events;
    Testing::Recorder<AllIntfAddrVrfTable> const recorder{tables, events};
};

TEST(AllIntfAddrVrfTable, StartsEmpty) {
    Bench bench;
    EXPECT_TRUE(bench.tables->intfAddrVrfTable().empty());
    EXPECT_EQ(bench.tables->intfAddrVrfTable("red"), nullptr);
    EXPECT_FALSE(bench.tables->intfAddrVrfTableHas("red"));
    EXPECT_EQ(bench.tables->intfAddrVrfTableDel("red"), nullptr);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(AllIntfAddrVrfTable, ATableIsFoundUnderItsVrf) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    EXPECT_EQ(bench.tables->intfAddrVrfTable("red"), bench.table);
    EXPECT_TRUE(bench.tables->intfAddrVrfTableHas("red"));
    EXPECT_FALSE(bench.tables->intfAddrVrfTableHas("blue"));
    EXPECT_THAT(bench.events, ElementsAre("intfAddrVrfTable red present"));
}

TEST(AllIntfAddrVrfTable, TheTableThatIsThereChangesNothing) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.events.clear();
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(AllIntfAddrVrfTable, AnotherTableReplaces) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.events.clear();
    auto const another = intfAddrVrfTableFactory();
    bench.tables->intfAddrVrfTableIs("red", another);
    EXPECT_EQ(bench.tables->intfAddrVrfTable("red"), another);
    EXPECT_EQ(bench.tables->intfAddrVrfTable().size(), 1u);
    EXPECT_THAT(bench.events, ElementsAre("intfAddrVrfTable red present"));
}

TEST(AllIntfAddrVrfTable, NullRemoves) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", nullptr);
    EXPECT_THAT(bench.events, IsEmpty());
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.events.clear();
    bench.tables->intfAddrVrfTableIs("red", nullptr);
    EXPECT_TRUE(bench.tables->intfAddrVrfTable().empty());
    EXPECT_THAT(bench.events, ElementsAre("intfAddrVrfTable red absent"));
}

TEST(AllIntfAddrVrfTable, RemovingReturnsTheTable) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.events.clear();
    EXPECT_EQ(bench.tables->intfAddrVrfTableDel("red"), bench.table);
    EXPECT_EQ(bench.tables->intfAddrVrfTableDel("red"), nullptr);
    EXPECT_THAT(bench.events, ElementsAre("intfAddrVrfTable red absent"));
}

TEST(AllIntfAddrVrfTable, OneTableMayStandUnderSeveralNames) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.tables->intfAddrVrfTableIs("blue", bench.table);
    bench.tables->intfAddrVrfTableDel("red");
    EXPECT_EQ(bench.tables->intfAddrVrfTable("blue"), bench.table);
}

TEST(AllIntfAddrVrfTable, EmptyingItTellsOfEachTable) {
    Bench bench;
    bench.tables->intfAddrVrfTableIs("red", bench.table);
    bench.tables->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());
    bench.events.clear();
    bench.tables->intfAddrVrfTableDelAll();
    EXPECT_TRUE(bench.tables->intfAddrVrfTable().empty());
    EXPECT_THAT(bench.events,
                ElementsAre("intfAddrVrfTable red absent", "intfAddrVrfTable blue absent"));
}

}  // namespace
}  // namespace IpLib
