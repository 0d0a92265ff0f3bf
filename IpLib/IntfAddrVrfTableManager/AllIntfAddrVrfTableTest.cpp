#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTable.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "IpLib/IntfAddrVrfTableManager/TestRecorders.h"

namespace IpLib {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Fixture {
    Zin::Ptr<AllIntfAddrVrfTable> const tables = allIntfAddrVrfTableFactory();
    Zin::Ptr<IntfAddrVrfTable> const table = intfAddrVrfTableFactory();
    TestKit::Events events;
    TestKit::Recorder<AllIntfAddrVrfTable> const recorder{tables, events};
};

TEST(AllIntfAddrVrfTable, StartsEmpty) {
    Fixture fixture;
    EXPECT_TRUE(fixture.tables->intfAddrVrfTable().empty());
    EXPECT_EQ(fixture.tables->intfAddrVrfTable("red"), nullptr);
    EXPECT_FALSE(fixture.tables->intfAddrVrfTableHas("red"));
    EXPECT_EQ(fixture.tables->intfAddrVrfTableDel("red"), nullptr);
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(AllIntfAddrVrfTable, ATableIsFoundUnderItsVrf) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    EXPECT_EQ(fixture.tables->intfAddrVrfTable("red"), fixture.table);
    EXPECT_TRUE(fixture.tables->intfAddrVrfTableHas("red"));
    EXPECT_FALSE(fixture.tables->intfAddrVrfTableHas("blue"));
    EXPECT_THAT(fixture.events, ElementsAre("intfAddrVrfTable red present"));
}

TEST(AllIntfAddrVrfTable, TheTableThatIsThereChangesNothing) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.events.clear();
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    EXPECT_THAT(fixture.events, IsEmpty());
}

TEST(AllIntfAddrVrfTable, AnotherTableReplaces) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.events.clear();
    auto const another = intfAddrVrfTableFactory();
    fixture.tables->intfAddrVrfTableIs("red", another);
    EXPECT_EQ(fixture.tables->intfAddrVrfTable("red"), another);
    EXPECT_EQ(fixture.tables->intfAddrVrfTable().size(), 1u);
    EXPECT_THAT(fixture.events, ElementsAre("intfAddrVrfTable red present"));
}

TEST(AllIntfAddrVrfTable, NullRemoves) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", nullptr);
    EXPECT_THAT(fixture.events, IsEmpty());
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.events.clear();
    fixture.tables->intfAddrVrfTableIs("red", nullptr);
    EXPECT_TRUE(fixture.tables->intfAddrVrfTable().empty());
    EXPECT_THAT(fixture.events, ElementsAre("intfAddrVrfTable red absent"));
}

TEST(AllIntfAddrVrfTable, RemovingReturnsTheTable) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.events.clear();
    EXPECT_EQ(fixture.tables->intfAddrVrfTableDel("red"), fixture.table);
    EXPECT_EQ(fixture.tables->intfAddrVrfTableDel("red"), nullptr);
    EXPECT_THAT(fixture.events, ElementsAre("intfAddrVrfTable red absent"));
}

TEST(AllIntfAddrVrfTable, OneTableMayStandUnderSeveralNames) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.tables->intfAddrVrfTableIs("blue", fixture.table);
    fixture.tables->intfAddrVrfTableDel("red");
    EXPECT_EQ(fixture.tables->intfAddrVrfTable("blue"), fixture.table);
}

TEST(AllIntfAddrVrfTable, EmptyingItTellsOfEachTable) {
    Fixture fixture;
    fixture.tables->intfAddrVrfTableIs("red", fixture.table);
    fixture.tables->intfAddrVrfTableIs("blue", intfAddrVrfTableFactory());
    fixture.events.clear();
    fixture.tables->intfAddrVrfTableDelAll();
    EXPECT_TRUE(fixture.tables->intfAddrVrfTable().empty());
    EXPECT_THAT(fixture.events,
                ElementsAre("intfAddrVrfTable red absent", "intfAddrVrfTable blue absent"));
}

}  // namespace
}  // namespace IpLib
