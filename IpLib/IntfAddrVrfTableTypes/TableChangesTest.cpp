#include "IpLib/IntfAddrVrfTableTypes/TableChanges.h"

#include <gtest/gtest.h>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"
#include "Nimb/IpGenAddrWithMask.h"

namespace IpLib {
namespace {

IntfAddrEntryContent row(char const* intfId, char const* addr) {
    Nimb::IpGenAddrWithMask const withMask(addr);
    return {withMask.isV6LinkLocal() ? IntfAddrEntryKey::makeLlKey(withMask.address(), intfId)
                                     : IntfAddrEntryKey::makeIpKey(withMask.address()),
            intfId, withMask.prefix()};
}

IntfAddrEntryContent virtualRow(char const* addr) {
    return {IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr(addr)), {}, {}};
}

IntfAddrEntryContent all(char const* intfId) { return {{}, intfId, {}}; }

IntfAddrEntryContent subnet(char const* intfId, char const* prefix) {
    return {{}, intfId, Nimb::IpGenPrefix(prefix)};
}

class SharesInTableTest : public testing::Test {
protected:
    // The question is symmetric.
    bool shares(IntfAddrEntryContent const& a, IntfAddrEntryContent const& b) {
        SharesInTable const sharesInTable(table.get());
        EXPECT_EQ(sharesInTable(a, b), sharesInTable(b, a));
        return sharesInTable(a, b);
    }

    Zin::Ptr<IntfAddrVrfTable> table = intfAddrVrfTableFactory();
};

TEST_F(SharesInTableTest, RowsShareAnInterfaceAnAddressOrASubnet) {
    EXPECT_TRUE(shares(row("Ethernet1", "10.0.0.1/24"), row("Ethernet1", "2001:db8::1/64")));
    EXPECT_TRUE(shares(row("Ethernet1", "10.0.0.1/24"), row("Ethernet2", "10.0.0.1/16")));
    EXPECT_TRUE(shares(row("Ethernet1", "10.0.0.1/24"), row("Ethernet2", "10.0.0.2/24")));
    EXPECT_FALSE(shares(row("Ethernet1", "10.0.0.1/24"), row("Ethernet2", "10.0.0.2/16")));
    EXPECT_FALSE(shares(row("Ethernet1", "10.0.0.1/24"), row("Ethernet2", "10.0.1.1/24")));
    EXPECT_TRUE(shares(subnet("Ethernet1", "10.0.0.0/24"), row("Ethernet2", "10.0.0.2/24")));
    EXPECT_FALSE(shares(subnet("Ethernet1", "10.0.0.0/24"), row("Ethernet2", "10.0.1.2/24")));
}

TEST_F(SharesInTableTest, LinkLocalAddressesShareTheirInterfaceAlone) {
    EXPECT_FALSE(shares(row("Ethernet1", "fe80::1/64"), row("Ethernet2", "fe80::1/64")));
    EXPECT_TRUE(shares(row("Ethernet1", "fe80::1/64"), row("Ethernet1", "fe80::2/64")));
    EXPECT_FALSE(shares(row("Ethernet1", "fe80::1/64"), subnet("Ethernet2", "fe80::/64")));
}

TEST_F(SharesInTableTest, VirtualAddressesShareThemselvesAlone) {
    EXPECT_TRUE(shares(virtualRow("10.0.0.1"), virtualRow("10.0.0.1")));
    EXPECT_FALSE(shares(virtualRow("10.0.0.1"), virtualRow("10.0.0.2")));
    EXPECT_FALSE(shares(virtualRow("10.0.0.1"), row("", "10.0.0.1/24")));
    EXPECT_FALSE(shares(virtualRow("10.0.0.1"), all("")));
}

TEST_F(SharesInTableTest, AnInterfaceSharesWhatItHoldsInTheTable) {
    EXPECT_TRUE(shares(all("Ethernet1"), all("Ethernet1")));
    EXPECT_FALSE(shares(all("Ethernet1"), all("Ethernet2")));
    EXPECT_TRUE(shares(all("Ethernet1"), row("Ethernet1", "10.0.0.1/24")));
    EXPECT_FALSE(shares(all("Ethernet1"), row("Ethernet2", "10.0.0.1/24")));

    table->intfAddrEntryFromAddrIs(intfAddrEntryFactory(row("Ethernet1", "10.0.0.1/24")));
    EXPECT_TRUE(shares(all("Ethernet1"), row("Ethernet2", "10.0.0.1/16")));
    EXPECT_FALSE(shares(all("Ethernet3"), row("Ethernet2", "10.0.0.1/16")));
    EXPECT_FALSE(shares(all("Ethernet1"), row("Ethernet2", "10.0.0.2/24")));

    table->intfAddrEntrySetFromSubnetIs(
        intfAddrEntrySetFactory("Ethernet1", Nimb::IpGenPrefix("10.0.1.0/24")));
    EXPECT_TRUE(shares(all("Ethernet1"), row("Ethernet2", "10.0.1.2/24")));
    EXPECT_FALSE(shares(all("Ethernet3"), row("Ethernet2", "10.0.1.2/24")));
}

TEST_F(SharesInTableTest, NothingIsHeldWithoutATable) {
    table = nullptr;
    EXPECT_FALSE(shares(all("Ethernet1"), row("Ethernet2", "10.0.0.1/24")));
    EXPECT_TRUE(shares(all("Ethernet1"), row("Ethernet1", "10.0.0.1/24")));
}

}  // namespace
}  // namespace IpLib
