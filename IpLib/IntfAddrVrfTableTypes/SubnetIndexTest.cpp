#include "IpLib/IntfAddrVrfTableTypes/SubnetIndex.h"

#include <gtest/gtest.h>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrVrfTable.h"

namespace IpLib {
namespace {

using Nimb::AddressFamily;
using Nimb::IpGenPrefix;

void put(IntfAddrVrfTable& table, char const* subnet, char const* intf = "eth0") {
    table.intfAddrEntrySetFromSubnetIs(
        intfAddrEntrySetFactory(Nimb::IntfId(intf), IpGenPrefix(subnet)));
}

TEST(SubnetIndex, ALengthIsThereAsLongAsASubnetHasIt) {
    auto const table = intfAddrVrfTableFactory();
    put(*table, "10.0.0.0/24");
    put(*table, "10.0.1.0/24");
    EXPECT_TRUE(table->hasSubnetOfLength(AddressFamily::ipv4, 24));
    EXPECT_FALSE(table->hasSubnetOfLength(AddressFamily::ipv4, 23));
    EXPECT_FALSE(table->hasSubnetOfLength(AddressFamily::ipv6, 24));

    put(*table, "10.0.1.0/24", "eth1");  // another one in its place
    table->intfAddrEntrySetFromSubnetDel(IpGenPrefix("10.0.0.0/24"));
    EXPECT_TRUE(table->hasSubnetOfLength(AddressFamily::ipv4, 24));
    table->intfAddrEntrySetFromSubnetDel(IpGenPrefix("10.0.1.0/24"));
    EXPECT_FALSE(table->hasSubnetOfLength(AddressFamily::ipv4, 24));
}

TEST(SubnetIndex, TheFamiliesEndsAreApart) {
    for (char const* const text : {"0.0.0.0/0", "10.0.0.1/32", "::/0", "::1/128"}) {
        auto const table = intfAddrVrfTableFactory();
        put(*table, text);
        IpGenPrefix const subnet(text);
        for (auto const family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
            for (int length = 0; length <= Nimb::maxPrefixLength(family); ++length) {
                auto const one = static_cast<std::uint8_t>(length);
                EXPECT_EQ(table->hasSubnetOfLength(family, one),
                          family == subnet.family() && one == subnet.prefixLength());
            }
        }
        table->intfAddrEntrySetFromSubnetDelAll();
        EXPECT_FALSE(table->hasSubnetOfLength(subnet.family(), subnet.prefixLength()));
    }
}

}  // namespace
}  // namespace IpLib
