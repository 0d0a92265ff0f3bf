#include "Told.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace Healing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Tables {
    Tables() { tables->intfAddrVrfTableIs("red", table); }

    std::vector<std::string_view> faults(Told const& told) const {
        Faults faults;
        told.find(*tables, faults);
        std::vector<std::string_view> kinds;
        for (auto const& fault : faults.all()) {
            kinds.push_back(fault.kind);
        }
        return kinds;
    }

    Zin::Ptr<IpLib::AllIntfAddrVrfTable> const tables = IpLib::allIntfAddrVrfTableFactory();
    Zin::Ptr<IpLib::IntfAddrVrfTable> const table = IpLib::intfAddrVrfTableFactory();
};

IpLib::IntfAddrEntryContent const row{
    IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")), "Ethernet1",
    Nimb::IpGenPrefix("10.0.0.0/24")};

TEST(Told, AgreesWithTheTablesWhereItWasToldOfAll) {
    Tables tables;
    Told told;
    auto const entry = tables.table->intfAddrEntryIs(row);
    told.rowIs("red", row, true);
    tables.table->intfAddrEntryFromAddrIs(entry);
    told.rowFromAddrIs("red", row.key, true);
    tables.table->intfAddrEntrySetFromSubnetIs(
        IpLib::intfAddrEntrySetFactory("Ethernet1", row.subnet));
    told.setFromSubnetIs("red", row.subnet, true);
    tables.table->llIntfAddrEntryFromIntfIdIs(entry);
    told.linkLocalFromIntfIs("red", "Ethernet1", true);
    EXPECT_THAT(tables.faults(told), IsEmpty());

    tables.tables->intfAddrVrfTableDel("red");
    EXPECT_THAT(tables.faults(told),
                ElementsAre("told wrongly", "told wrongly", "told wrongly", "told wrongly"));
    told.rowIs("red", row, false);
    told.rowFromAddrIs("red", row.key, false);
    told.setFromSubnetIs("red", row.subnet, false);
    told.linkLocalFromIntfIs("red", "Ethernet1", false);
    EXPECT_THAT(tables.faults(told), IsEmpty());
}

TEST(Told, MissesWhatItWasNotToldOf) {
    Tables tables;
    auto const entry = tables.table->intfAddrEntryIs(row);
    tables.table->intfAddrEntryFromAddrIs(entry);
    tables.table->intfAddrEntrySetFromSubnetIs(
        IpLib::intfAddrEntrySetFactory("Ethernet1", row.subnet));
    tables.table->llIntfAddrEntryFromIntfIdIs(entry);
    EXPECT_THAT(tables.faults({}), ElementsAre("not told", "not told", "not told", "not told"));
}

TEST(Told, ComparesRowsByTheirInterfaceToo) {
    Tables tables;
    Told told;
    tables.table->intfAddrEntryIs(row);
    auto other = row;
    other.intfId = "Ethernet2";
    told.rowIs("red", other, true);
    EXPECT_THAT(tables.faults(told), testing::UnorderedElementsAre("not told", "told wrongly"));
}

TEST(Told, IsToldOfNothingTwice) {
    Tables const tables;
    Told told;
    told.rowIs("red", row, false);
    EXPECT_THAT(tables.faults(told), ElementsAre("told gone twice"));
    told.setFromSubnetIs("blue", row.subnet, true);
    told.setFromSubnetIs("blue", row.subnet, true);
    EXPECT_THAT(tables.faults(told),
                ElementsAre("told gone twice", "told there twice", "told wrongly"));

    Told again;
    auto const entry = tables.table->intfAddrEntryIs(row);
    tables.table->intfAddrEntryFromAddrIs(entry);
    again.rowIs("red", row, true);
    again.rowFromAddrIs("red", row.key, true);
    again.rowFromAddrIs("red", row.key, true);
    EXPECT_THAT(tables.faults(again), IsEmpty());
}

}  // namespace
}  // namespace Healing
