// What the directory of tables and the two managers show of themselves.
#include <gmock/gmock.h>

#include <limits>

#include "IpLib/IntfAddrVrfTableManager/AllIntfAddrVrfTableSm.h"
#include "IpLib/IntfAddrVrfTableManager/IntfAddrVrfTableSmManager.h"
#include "IpLib/IntfAddrVrfTableManager/TestManagerFixture.h"
#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint32_t minusTwo = std::numeric_limits<std::uint32_t>::max() - 1;

template <class T>
std::string dumpOf(Zin::Ptr<T> const& entity, std::uint32_t indent, bool verbose = true,
                   std::uint32_t maxEntries = 0) {
    auto const context = Velk::textDumpContextFactory(verbose, maxEntries);
    entity->dumpState(context, indent);
    return context->text();
}

Zin::Ptr<AllIntfAddrVrfTable> directoryOf(std::vector<L3::VrfName> const& vrfs) {
    auto tables = allIntfAddrVrfTableFactory();
    for (L3::VrfName const& vrf : vrfs) {
        tables->intfAddrVrfTableIs(vrf, intfAddrVrfTableFactory());
    }
    return tables;
}

std::string emptyTable(char const* vrf) {
    return fmt::format(
        "  IntfAddrVrfTable for vrf {}\n"
        "    intfAddrEntry count 0\n"
        "    intfAddrEntryFromAddr count 0\n"
        "    intfAddrEntrySetFromSubnet count 0\n"
        "    llIntfAddrEntryFromIntfId count 0\n",
        vrf);
}

std::string allTables() {
    return fmt::format("AllIntfAddrVrfTable\n  has 5 tables\n{}{}{}{}{}", emptyTable("a"),
                       emptyTable("b"), emptyTable("c"), emptyTable("d"), emptyTable("e"));
}

TEST(AllIntfAddrVrfTableDump, OfAnEmptyDirectoryIsItsHeaderAndItsCount) {
    EXPECT_EQ(dumpOf(directoryOf({}), 0), "AllIntfAddrVrfTable\n  has 0 tables\n");
    EXPECT_EQ(dumpOf(directoryOf({}), 1), " AllIntfAddrVrfTable\n   has 0 tables\n");
}

TEST(AllIntfAddrVrfTableDump, HasEveryTableInOrderOfTheNamesWhereItIsVerbose) {
    EXPECT_EQ(dumpOf(directoryOf({"d", "b", "e", "a", "c"}), 0, true, 3), allTables());
}

TEST(AllIntfAddrVrfTableDump, HasEveryTableUpToTheMaximum) {
    EXPECT_EQ(dumpOf(directoryOf({"d", "b", "e", "a", "c"}), 0, false, 5), allTables());
}

TEST(AllIntfAddrVrfTableDump, IsCutBeyondTheMaximum) {
    EXPECT_EQ(dumpOf(directoryOf({"d", "b", "e", "a", "c"}), 0, false, 3),
              fmt::format(
                  "AllIntfAddrVrfTable\n"
                  "  has 5 tables\n"
                  "  -- The following list will be truncated, use verbose option to display all 5 "
                  "entries --\n"
                  "{}{}{}"
                  "  -- This list has been truncated, use verbose option to display all 5 entries "
                  "--\n",
                  emptyTable("a"), emptyTable("b"), emptyTable("c")));
}

TEST(AllIntfAddrVrfTableDump, HasEveryTableOnStandardOutputWithoutAContext) {
    auto const tables = directoryOf({"a", "b", "c", "d", "e"});
    testing::internal::CaptureStdout();
    tables->dumpState(nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), allTables());
}

TEST(AllIntfAddrVrfTableDump, WrapsTheIndentationOfItsTablesAround) {
    EXPECT_EQ(dumpOf(directoryOf({"a"}), minusTwo),
              "  AllIntfAddrVrfTable\n"
              "has 1 tables\n"
              "IntfAddrVrfTable for vrf a\n"
              "  intfAddrEntry count 0\n"
              "  intfAddrEntryFromAddr count 0\n"
              "  intfAddrEntrySetFromSubnet count 0\n"
              "  llIntfAddrEntryFromIntfId count 0\n");
}

// An interface with status of both families, one of each family alone, and a VRF without status.
struct Managed : TestKit::ManagerFixture {
    Managed() {
        vrfIs("red");
        tableIs("blue");
        managerIs();
        ip("red", "Ethernet1", "10.0.0.1/24");
        ip("red", "Ethernet2", "10.0.1.1/24");
        ip6("red", "Ethernet1", "2001:db8::1/64");
        ip6("red", "Ethernet3", "2001:db8:1::1/64");
    }
};

TEST(AllIntfAddrVrfTableSmDump, CountsTheInterfacesWithStatusOfEachVrf) {
    Managed const fixture;
    EXPECT_EQ(dumpOf(fixture.manager->allIntfAddrVrfTableSm(), 0),
              "AllIntfAddrVrfTableSm\n"
              "  has 2 vrfs\n"
              "  vrf blue has 0 interfaces\n"
              "  vrf red has 3 interfaces\n");
    EXPECT_EQ(dumpOf(fixture.manager->allIntfAddrVrfTableSm(), 2, false, 1),
              "  AllIntfAddrVrfTableSm\n"
              "    has 2 vrfs\n"
              "    -- The following list will be truncated, use verbose option to display all 2 "
              "entries --\n"
              "    vrf blue has 0 interfaces\n"
              "    -- This list has been truncated, use verbose option to display all 2 entries "
              "--\n");
}

TEST(AllIntfAddrVrfTableSmDump, CountsTheInterfacesOfEitherFamilyWhereTheOtherHasNoStatus) {
    Managed const fixture;
    fixture.ipStatus->vrfIpIntfStatusDel("red");
    EXPECT_THAT(dumpOf(fixture.manager->allIntfAddrVrfTableSm(), 0),
                HasSubstr("vrf red has 2 interfaces\n"));
}

TEST(IntfAddrVrfTableSmManagerDump, HasTheDumpOfEveryMachineInOrderOfTheNames) {
    Managed const fixture;
    EXPECT_EQ(dumpOf(fixture.manager->intfAddrVrfTableSmManager(), 0),
              fmt::format("IntfAddrVrfTableSmManager\n"
                          "  has 2 IntfAddrVrfTableSm\n{}{}",
                          dumpOf(fixture.sm("blue"), 2), dumpOf(fixture.sm("red"), 2)));
}

TEST(IntfAddrVrfTableSmManagerDump, IsCutBeyondTheMaximum) {
    Managed const fixture;
    auto const dump = dumpOf(fixture.manager->intfAddrVrfTableSmManager(), 0, false, 1);
    EXPECT_THAT(dump, HasSubstr("  -- The following list will be truncated, use verbose option to "
                                "display all 2 entries --\n"
                                "  IntfAddVrfTableSm VRF=blue "));
    EXPECT_THAT(dump, Not(HasSubstr("VRF=red")));
}

TEST(IntfAddrVrfTableManagerDump, HasWhatTheDirectorysMachineAndThoseOfTheVrfsHave) {
    Managed const fixture;
    EXPECT_EQ(dumpOf(fixture.manager, 2),
              dumpOf(fixture.manager->allIntfAddrVrfTableSm(), 2) +
                  dumpOf(fixture.manager->intfAddrVrfTableSmManager(), 2));
}

}  // namespace
}  // namespace IpLib
