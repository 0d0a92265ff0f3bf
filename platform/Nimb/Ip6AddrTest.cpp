#include "Nimb/Ip6Addr.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"

namespace Nimb {
namespace {

TEST(Ip6Addr, DefaultIsTheUnspecifiedAddress) { EXPECT_EQ(Ip6Addr(), Ip6Addr("::")); }

TEST(Ip6Addr, IsMadeOfItsBytesOrItsText) {
    Ip6Bytes const bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

    EXPECT_EQ(Ip6Addr(bytes), Ip6Addr("2001:DB8:0::1"));
    EXPECT_EQ(Ip6Addr("2001:db8::1").bytes(), bytes);
}

TEST(Ip6Addr, IsSixteenPlainBytes) {
    static_assert(std::is_trivially_copyable_v<Ip6Addr>);
    EXPECT_EQ(sizeof(Ip6Addr), 16U);
    EXPECT_EQ(alignof(Ip6Addr), 1U);
}

TEST(Ip6Addr, SortsByValue) {
    EXPECT_LT(Ip6Addr("::1"), Ip6Addr("::2"));
    EXPECT_LT(Ip6Addr("::ffff"), Ip6Addr("::1:0"));
    EXPECT_LT(Ip6Addr("7fff::"), Ip6Addr("8000::"));
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

TEST(Ip6Addr, HashesByAllBytesAndSeed) {
    Ip6Addr const address("2001:db8::1");
    for (std::size_t i = 0; i < 16; ++i) {
        Ip6Bytes bytes = address.bytes();
        bytes[i] ^= 1;
        EXPECT_NE(Ip6Addr(bytes).hash(), address.hash()) << i;
    }
    EXPECT_EQ(address.hash(), Ip6Addr("2001:db8:0:0::1").hash(0));
    EXPECT_NE(address.hash(3), address.hash(4));
}

TEST(Ip6Addr, PrintsAndReadsBack) {
    Ip6Addr const address("2001:DB8::1");
    std::ostringstream out;
    out << address;

    EXPECT_EQ(out.str(), "2001:db8::1");
    EXPECT_EQ(address.toStrep(), "2001:db8::1");
    EXPECT_EQ(fmt::format("{:>12}", address), " 2001:db8::1");
    EXPECT_EQ(valueToStrep(address), "'2001:db8::1'");
    EXPECT_EQ(Zin::strepToValue<Ip6Addr>("2001:db8::1"), address);
    EXPECT_EQ(Zin::TextReader("'2001:db8::1'").read<Ip6Addr>("addr"), address);
}

TEST(Ip6Addr, AnotherTextIsAnError) {
    for (std::string const text : {"", ":", "10.0.0.1", "::1/64", "fe80::1%eth0", "[::1]"}) {
        EXPECT_THROW(Zin::strepToValue<Ip6Addr>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
