// What a table and a subnet's set show of themselves.
#include <gtest/gtest.h>

#include <limits>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "Zin/Format.h"

namespace IpLib {
namespace {

constexpr std::uint32_t minusTwo = std::numeric_limits<std::uint32_t>::max() - 1;

template <class T>
std::string dumpOf(Zin::Ptr<T> const& entity, std::uint32_t indent,
                   std::uint32_t maxEntries = 100) {
    auto const context = Velk::textDumpContextFactory(false, maxEntries);
    entity->dumpState(context, indent);
    return context->text();
}

IntfAddrEntryContent contentOf(IntfAddrEntryKey const& key, char const* subnet) {
    return {key, "Ethernet1", Nimb::IpGenPrefix(subnet)};
}
IntfAddrEntryContent ip(char const* addr, char const* subnet) {
    return contentOf(IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr(addr)), subnet);
}

// Two addresses of a subnet and a link-local one.
struct FilledTable {
    FilledTable() {
        table->intfAddrEntryFromAddrIs(higher);
        table->intfAddrEntryFromAddrIs(linkLocal);
        set->intfAddrEntryIs(higher);
        set->intfAddrEntryIs(lower);
        set->deprecatedIntfAddrEntryIs(linkLocal);
        table->intfAddrEntrySetFromSubnetIs(set);
        table->llIntfAddrEntryFromIntfIdIs(linkLocal);
    }

    // Its dump, each line behind so many blanks.
    std::string expected(std::string const& own, std::string const& member,
                         std::string const& memberOfSet) const {
        return fmt::format(
            "{0}intfAddrEntry count 3\n"
            "{1}{3} = [ intfId=;addr=10.0.0.9;virtualIp=false;subnet=10.0.0.0/24 ]\n"
            "{1}{4} = [ intfId=;addr=10.0.0.3;virtualIp=false;subnet=10.0.0.0/24 ]\n"
            "{1}{5} = [ intfId=Ethernet1;addr=fe80::1;virtualIp=false;subnet=fe80::/64 ]\n"
            "{0}intfAddrEntryFromAddr count 2\n"
            "{1}{3} = [ intfId=;addr=10.0.0.9;virtualIp=false ]\n"
            "{1}{5} = [ intfId=Ethernet1;addr=fe80::1;virtualIp=false ]\n"
            "{0}intfAddrEntrySetFromSubnet count 1\n"
            "{1}{6} = [ 10.0.0.0/24 ][ Ethernet2 ][ count 2 ]\n"
            "{2}{4} = [ intfId=;addr=10.0.0.3;virtualIp=false;subnet=10.0.0.0/24 ]\n"
            "{2}{3} = [ intfId=;addr=10.0.0.9;virtualIp=false;subnet=10.0.0.0/24 ]\n"
            "{0}llIntfAddrEntryFromIntfId count 1\n"
            "{1}{5} = [ Ethernet1 ][ fe80::1 ]\n",
            own, member, memberOfSet, higher, lower, linkLocal, set);
    }

    Zin::Ptr<IntfAddrVrfTable> const table = intfAddrVrfTableFactory();
    Zin::Ptr<IntfAddrEntry> const higher = table->intfAddrEntryIs(ip("10.0.0.9", "10.0.0.0/24"));
    Zin::Ptr<IntfAddrEntry> const lower = table->intfAddrEntryIs(ip("10.0.0.3", "10.0.0.0/24"));
    Zin::Ptr<IntfAddrEntry> const linkLocal = table->intfAddrEntryIs(contentOf(
        IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "Ethernet1"), "fe80::/64"));
    Zin::Ptr<IntfAddrEntrySet> const set =
        intfAddrEntrySetFactory("Ethernet2", Nimb::IpGenPrefix("10.0.0.0/24"));
};

TEST(IntfAddrVrfTableDump, OfAnEmptyTableIsItsFourCounts) {
    auto const table = intfAddrVrfTableFactory();
    EXPECT_EQ(dumpOf(table, 0),
              "intfAddrEntry count 0\n"
              "intfAddrEntryFromAddr count 0\n"
              "intfAddrEntrySetFromSubnet count 0\n"
              "llIntfAddrEntryFromIntfId count 0\n");
}

TEST(IntfAddrVrfTableDump, HasEachMemberOfEachCollectionInItsOwnOrder) {
    FilledTable const filled;
    EXPECT_EQ(dumpOf(filled.table, 0), filled.expected("", "  ", "    "));
    EXPECT_EQ(dumpOf(filled.table, 3), filled.expected("   ", "     ", "       "));
}

TEST(IntfAddrVrfTableDump, IsNeverCut) {
    FilledTable const filled;
    EXPECT_EQ(dumpOf(filled.table, 0, 0), filled.expected("", "  ", "    "));
}

TEST(IntfAddrVrfTableDump, WrapsTheIndentationOfItsMembersAround) {
    FilledTable const filled;
    EXPECT_EQ(dumpOf(filled.table, minusTwo), filled.expected("  ", "", "  "));
}

TEST(IntfAddrVrfTableDump, GoesToStandardOutputWithoutAContext) {
    FilledTable const filled;
    testing::internal::CaptureStdout();
    filled.table->dumpState(nullptr, 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), filled.expected("  ", "    ", "      "));
}

// Two usable rows and a deprecated one.
struct FilledSet {
    FilledSet() {
        set->intfAddrEntryIs(higher);
        set->intfAddrEntryIs(lower);
        set->deprecatedIntfAddrEntryIs(deprecated);
    }

    std::string expected(std::string const& own, std::string const& member) const {
        return fmt::format(
            "{0}intfAddrEntry count 2\n"
            "{1}[ intfId=;addr=2001:db8::3;virtualIp=false;subnet=2001:db8::/64 ({2})]\n"
            "{1}[ intfId=;addr=2001:db8::9;virtualIp=false;subnet=2001:db8::/64 ({3})]\n"
            "{1}[ intfId=;addr=2001:db8::1;virtualIp=false;subnet=2001:db8::/64 ({4} )]\n",
            own, member, lower, higher, deprecated);
    }

    Zin::Ptr<IntfAddrEntrySet> const set =
        intfAddrEntrySetFactory("Ethernet1", Nimb::IpGenPrefix("2001:db8::/64"));
    Zin::Ptr<IntfAddrEntry> const higher = intfAddrEntryFactory(ip("2001:db8::9", "2001:db8::/64"));
    Zin::Ptr<IntfAddrEntry> const lower = intfAddrEntryFactory(ip("2001:db8::3", "2001:db8::/64"));
    Zin::Ptr<IntfAddrEntry> const deprecated =
        intfAddrEntryFactory(ip("2001:db8::1", "2001:db8::/64"));
};

TEST(IntfAddrEntrySetDump, CountsUsableRowsAloneAndHasThemAheadOfTheDeprecated) {
    FilledSet const filled;
    EXPECT_EQ(dumpOf(filled.set, 0), filled.expected("", "  "));
    EXPECT_EQ(dumpOf(filled.set, 1), filled.expected(" ", "   "));
    EXPECT_EQ(dumpOf(filled.set, minusTwo), filled.expected("  ", ""));
}

TEST(IntfAddrEntrySetDump, OfAnEmptySetIsItsCount) {
    auto const set = intfAddrEntrySetFactory("Ethernet1", Nimb::IpGenPrefix("10.0.0.0/24"));
    EXPECT_EQ(dumpOf(set, 4), "    intfAddrEntry count 0\n");
}

TEST(IntfAddrEntrySetDump, CutsEachOfItsCollectionsWhereItIsTooLong) {
    FilledSet const filled;
    EXPECT_EQ(
        dumpOf(filled.set, 0, 1),
        fmt::format("intfAddrEntry count 2\n"
                    "  -- The following list will be truncated, use verbose option to display all "
                    "2 entries --\n"
                    "  [ intfId=;addr=2001:db8::3;virtualIp=false;subnet=2001:db8::/64 ({})]\n"
                    "  -- This list has been truncated, use verbose option to display all 2 "
                    "entries --\n"
                    "  [ intfId=;addr=2001:db8::1;virtualIp=false;subnet=2001:db8::/64 ({} )]\n",
                    filled.lower, filled.deprecated));
}

}  // namespace
}  // namespace IpLib
