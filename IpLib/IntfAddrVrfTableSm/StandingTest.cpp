#include "IpLib/IntfAddrVrfTableSm/Standing.h"

#include <gtest/gtest.h>

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using Conflict = Standing::Conflict;

// A table that is filled by hand.
class StandingTest : public testing::Test {
protected:
    static Place place(char const* intfId, char const* addr) {
        return Place({intfId, Nimb::IpGenAddrWithMask(addr)});
    }
    Zin::Ptr<IntfAddrEntry> row(char const* intfId, char const* addr) {
        auto const entry = table->intfAddrEntryIs(place(intfId, addr).content);
        table->intfAddrEntryFromAddrIs(entry);
        return entry;
    }
    Zin::Ptr<IntfAddrEntrySet> set(char const* intfId, char const* subnet) {
        auto const made = intfAddrEntrySetFactory(intfId, Nimb::IpGenPrefix(subnet));
        table->intfAddrEntrySetFromSubnetIs(made);
        return made;
    }
    Standing standing(char const* intfId, char const* addr) {
        return standingOf(*table, place(intfId, addr));
    }

    Zin::Ptr<IntfAddrVrfTable> table = intfAddrVrfTableFactory();
};

TEST_F(StandingTest, NothingIsInTheWayInAnEmptyTable) {
    auto const found = standing("Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(found.row, nullptr);
    EXPECT_EQ(found.set, nullptr);
    EXPECT_EQ(found.conflict, Conflict::none);
}

TEST_F(StandingTest, ItsOwnRowAndSetAreNotInTheWay) {
    auto const own = row("Ethernet1", "10.0.0.1/24");
    auto const ownSet = set("Ethernet1", "10.0.0.0/24");
    auto const found = standing("Ethernet1", "10.0.0.1/24");
    EXPECT_EQ(found.row, own);
    EXPECT_EQ(found.set, ownSet);
    EXPECT_EQ(found.conflict, Conflict::none);
}

TEST_F(StandingTest, ARowOfAnotherInterfaceOrSubnetIsInTheWay) {
    auto const other = row("Ethernet1", "10.0.0.1/24");
    for (auto const& found :
         {standing("Ethernet2", "10.0.0.1/24"), standing("Ethernet1", "10.0.0.1/16")}) {
        EXPECT_EQ(found.conflict, Conflict::withRow);
        EXPECT_EQ(found.row, other);
        EXPECT_EQ(found.holder(), "Ethernet1");
    }
}

TEST_F(StandingTest, ASetOfAnotherInterfaceIsInTheWay) {
    auto const other = set("Ethernet1", "10.0.0.0/24");
    auto const found = standing("Ethernet2", "10.0.0.2/24");
    EXPECT_EQ(found.conflict, Conflict::withSet);
    EXPECT_EQ(found.set, other);
    EXPECT_EQ(found.holder(), "Ethernet1");
    EXPECT_EQ(standing("Ethernet2", "10.0.0.2/16").conflict, Conflict::none);
}

TEST_F(StandingTest, TheRowIsNamedBeforeTheSet) {
    row("Ethernet1", "10.0.0.1/16");
    set("Ethernet3", "10.0.0.0/24");
    auto const found = standing("Ethernet2", "10.0.0.1/24");
    EXPECT_EQ(found.conflict, Conflict::withRow);
    EXPECT_EQ(found.holder(), "Ethernet1");
}

TEST_F(StandingTest, AVirtualAddressIsInNobodysWay) {
    table->intfAddrEntryFromAddrIs(table->intfAddrEntryIs(
        {IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.0.0.1")), {}, {}}));
    EXPECT_EQ(standing("Ethernet1", "10.0.0.1/24").conflict, Conflict::none);
}

TEST_F(StandingTest, OnlyAnotherLinkLocalAddressOfItsInterfaceIsInTheWayOfOne) {
    auto const present = row("Ethernet1", "fe80::1/64");
    table->llIntfAddrEntryFromIntfIdIs(present);
    set("Ethernet2", "fe80::/64");  // by hand: there are none
    EXPECT_EQ(standing("Ethernet2", "fe80::1/64").conflict, Conflict::none);
    EXPECT_EQ(standing("Ethernet2", "fe80::1/64").row, nullptr);
    EXPECT_EQ(standing("Ethernet2", "fe80::1/64").set, nullptr);
    EXPECT_EQ(standing("Ethernet1", "fe80::1/64").conflict, Conflict::none);
    EXPECT_EQ(standing("Ethernet1", "fe80::1/10").conflict, Conflict::none);
    EXPECT_EQ(standing("Ethernet1", "fe80::1/10").row, present);
    EXPECT_EQ(standing("Ethernet1", "fe80::2/64").conflict, Conflict::withRow);
    EXPECT_EQ(standing("Ethernet1", "fe80::2/64").row, present);
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
