// What an address of any family does: AddrTest.cpp.

#include "Nimb/Ip6Addr.h"

#include <gtest/gtest.h>

namespace Nimb {
namespace {

TEST(Ip6Addr, IsTheSameInAnyOfItsTexts) {
    EXPECT_EQ(Ip6Addr("2001:DB8:0::1"), Ip6Addr("2001:db8::1"));
    EXPECT_EQ(Ip6Addr("2001:db8:0:0::1").hash(), Ip6Addr("2001:db8::1").hash());
    EXPECT_EQ(Ip6Addr("2001:DB8::1").toStrep(), "2001:db8::1");
    Zin::TextReader reflective("'2001:DB8:0:0::1'");
    EXPECT_EQ(valueToStrep(reflective.read<Ip6Addr>("addr")), "'2001:db8::1'");
}

TEST(Ip6Addr, LinkLocalIsAllOfItsTenBitPrefix) {
    EXPECT_TRUE(Ip6Addr("fe80::").isLinkLocal());
    EXPECT_TRUE(Ip6Addr("fe80::1").isLinkLocal());
    EXPECT_TRUE(Ip6Addr("febf:ffff::1").isLinkLocal());
    EXPECT_FALSE(Ip6Addr("fe7f:ffff::1").isLinkLocal());
    EXPECT_FALSE(Ip6Addr("fec0::1").isLinkLocal());
    EXPECT_FALSE(Ip6Addr("ff80::1").isLinkLocal());
    EXPECT_FALSE(Ip6Addr().isLinkLocal());
}

}  // namespace
}  // namespace Nimb
