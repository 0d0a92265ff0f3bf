#include "Nimb/IpGenAddr.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

TEST(IpGenAddr, DefaultIsUnset) {
    EXPECT_EQ(IpGenAddr().family(), AddressFamily::unset);
    EXPECT_EQ(IpGenAddr().toStrep(), "");
    EXPECT_EQ(IpGenAddr(""), IpGenAddr());
    EXPECT_NE(IpGenAddr("0.0.0.0"), IpGenAddr());
    EXPECT_NE(IpGenAddr("::"), IpGenAddr());
}

TEST(IpGenAddr, HoldsAnAddressOfEitherFamily) {
    IpGenAddr const ip4 = Ip4Addr("10.0.0.1");
    EXPECT_EQ(ip4.family(), AddressFamily::ipv4);
    EXPECT_EQ(ip4.ip4(), Ip4Addr("10.0.0.1"));
    EXPECT_EQ(ip4.ip6(), Ip6Addr());

    IpGenAddr const ip6 = Ip6Addr("2001:db8::1");
    EXPECT_EQ(ip6.family(), AddressFamily::ipv6);
    EXPECT_EQ(ip6.ip6(), Ip6Addr("2001:db8::1"));
    EXPECT_EQ(ip6.ip4(), Ip4Addr());
}

TEST(IpGenAddr, AnIpv4AddressStandsInTheFirstBytesOfTheStorage) {
    EXPECT_EQ(Ip6Addr(IpGenAddr("10.0.0.1").bytes()), Ip6Addr("a00:1::"));
    EXPECT_NE(IpGenAddr("10.0.0.1"), IpGenAddr("a00:1::"));
    EXPECT_NE(IpGenAddr("10.0.0.1").hash(), IpGenAddr("a00:1::").hash());
}

TEST(IpGenAddr, IsSeventeenPlainBytes) {
    static_assert(std::is_trivially_copyable_v<IpGenAddr>);
    EXPECT_EQ(sizeof(IpGenAddr), 17U);
    EXPECT_EQ(alignof(IpGenAddr), 1U);
}

TEST(IpGenAddr, SortsByFamilyThenByValue) {
    EXPECT_LT(IpGenAddr(), IpGenAddr("0.0.0.0"));
    EXPECT_LT(IpGenAddr("255.255.255.255"), IpGenAddr("::"));
    EXPECT_LT(IpGenAddr("10.0.0.1"), IpGenAddr("10.0.0.2"));
    EXPECT_LT(IpGenAddr("2001:db8::1"), IpGenAddr("fe80::1"));
}

TEST(IpGenAddr, OnlyAnIpv6AddressIsLinkLocal) {
    EXPECT_TRUE(IpGenAddr("fe80::1").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddr("2001:db8::1").isV6LinkLocal());
    // Its bytes are those of the link-local prefix, and 169.254.0.1 is link-local in IPv4 only.
    EXPECT_FALSE(IpGenAddr("254.128.0.1").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddr("169.254.0.1").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddr().isV6LinkLocal());
}

TEST(IpGenAddr, MaskingKeepsTheFamily) {
    EXPECT_EQ(IpGenAddr("10.1.255.255").masked(20), IpGenAddr("10.1.240.0"));
    EXPECT_EQ(IpGenAddr("10.1.1.1").masked(32), IpGenAddr("10.1.1.1"));
    EXPECT_EQ(IpGenAddr("2001:db8::1").masked(0), IpGenAddr("::"));
    EXPECT_EQ(IpGenAddr().masked(0), IpGenAddr());
}

TEST(IpGenAddr, HashesByValueAndSeed) {
    EXPECT_EQ(IpGenAddr("10.0.0.1").hash(3), IpGenAddr(Ip4Addr("10.0.0.1")).hash(3));
    EXPECT_NE(IpGenAddr("10.0.0.1").hash(3), IpGenAddr("10.0.0.2").hash(3));
    EXPECT_NE(IpGenAddr("10.0.0.1").hash(3), IpGenAddr("10.0.0.1").hash(4));
    EXPECT_NE(IpGenAddr("0.0.0.0").hash(), IpGenAddr().hash());
}

TEST(IpGenAddr, PrintsAndReadsBack) {
    for (std::string const text :
         {"", "0.0.0.0", "10.0.0.1", "::", "2001:db8::1", "::ffff:10.0.0.1"}) {
        IpGenAddr const address(text);
        std::ostringstream out;
        out << address;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(address.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", address), text);
        EXPECT_EQ(valueToStrep(address), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<IpGenAddr>(text), address);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").read<IpGenAddr>("addr"), address);
    }
}

TEST(IpGenAddr, AnotherTextIsAnError) {
    for (std::string const text : {" ", "10", "10.0.0.1/24", "::1/64", "localhost"}) {
        EXPECT_THROW(Zin::strepToValue<IpGenAddr>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
