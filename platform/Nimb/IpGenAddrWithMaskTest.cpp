#include "Nimb/IpGenAddrWithMask.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

TEST(IpGenAddrWithMask, DefaultIsUnset) {
    EXPECT_EQ(IpGenAddrWithMask().family(), AddressFamily::unset);
    EXPECT_EQ(IpGenAddrWithMask().toStrep(), "");
    EXPECT_EQ(IpGenAddrWithMask(""), IpGenAddrWithMask());
    EXPECT_EQ(IpGenAddrWithMask().prefix(), IpGenPrefix());
    EXPECT_NE(IpGenAddrWithMask("0.0.0.0/0"), IpGenAddrWithMask());
}

TEST(IpGenAddrWithMask, IsMadeOfAnAddressOfEitherFamily) {
    IpGenAddrWithMask const ip4 = IpAddrWithMask("10.0.0.1/24");
    EXPECT_EQ(ip4, IpGenAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(ip4, IpGenAddrWithMask(IpGenAddr("10.0.0.1"), 24));
    EXPECT_EQ(ip4.family(), AddressFamily::ipv4);

    IpGenAddrWithMask const ip6 = Ip6AddrWithMask("2001:db8::1/64");
    EXPECT_EQ(ip6, IpGenAddrWithMask("2001:db8::1/64"));
    EXPECT_EQ(ip6, IpGenAddrWithMask(IpGenAddr("2001:db8::1"), 64));
    EXPECT_EQ(ip6.family(), AddressFamily::ipv6);
}

TEST(IpGenAddrWithMask, KeepsTheHostBitsThatItsSubnetHasNot) {
    IpGenAddrWithMask const value("10.0.0.1/24");

    EXPECT_EQ(value.address(), IpGenAddr("10.0.0.1"));
    EXPECT_EQ(value.prefixLength(), 24);
    EXPECT_EQ(value.prefix(), IpGenPrefix("10.0.0.0/24"));
    EXPECT_EQ(IpGenAddrWithMask("2001:db8::1/64").prefix(), IpGenPrefix("2001:db8::/64"));
}

TEST(IpGenAddrWithMask, ALengthBeyondTheAddressIsARangeError) {
    EXPECT_THROW(IpGenAddrWithMask(IpGenAddr("10.0.0.1"), 33), Zin::RangeError);
    EXPECT_THROW(IpGenAddrWithMask(IpGenAddr("::1"), 129), Zin::RangeError);
    EXPECT_THROW(IpGenAddrWithMask(IpGenAddr(), 1), Zin::RangeError);
}

TEST(IpGenAddrWithMask, IsEighteenPlainBytes) {
    static_assert(std::is_trivially_copyable_v<IpGenAddrWithMask>);
    EXPECT_EQ(sizeof(IpGenAddrWithMask), 18U);
    EXPECT_EQ(alignof(IpGenAddrWithMask), 1U);
}

TEST(IpGenAddrWithMask, SortsByFamilyThenAddressThenLength) {
    EXPECT_LT(IpGenAddrWithMask(), IpGenAddrWithMask("0.0.0.0/0"));
    EXPECT_LT(IpGenAddrWithMask("255.255.255.255/32"), IpGenAddrWithMask("::/0"));
    EXPECT_LT(IpGenAddrWithMask("10.0.0.1/24"), IpGenAddrWithMask("10.0.0.2/8"));
    EXPECT_LT(IpGenAddrWithMask("10.0.0.1/8"), IpGenAddrWithMask("10.0.0.1/24"));
}

TEST(IpGenAddrWithMask, IsLinkLocalByItsAddress) {
    EXPECT_TRUE(IpGenAddrWithMask("fe80::1/64").isV6LinkLocal());
    EXPECT_TRUE(IpGenAddrWithMask("fe80::1/8").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddrWithMask("2001:db8::1/64").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddrWithMask("169.254.0.1/16").isV6LinkLocal());
    EXPECT_FALSE(IpGenAddrWithMask().isV6LinkLocal());
}

TEST(IpGenAddrWithMask, HashesByAddressLengthAndSeed) {
    IpGenAddrWithMask const value("10.0.0.1/24");

    EXPECT_EQ(value.hash(3), IpGenAddrWithMask(IpAddrWithMask("10.0.0.1/24")).hash(3));
    EXPECT_NE(value.hash(3), IpGenAddrWithMask("10.0.0.1/25").hash(3));
    EXPECT_NE(value.hash(3), IpGenAddrWithMask("10.0.0.2/24").hash(3));
    EXPECT_NE(value.hash(3), value.hash(4));
}

TEST(IpGenAddrWithMask, PrintsAndReadsBack) {
    for (std::string const text :
         {"", "0.0.0.0/0", "10.0.0.1/24", "::/0", "2001:db8::1/64", "::ffff:10.0.0.1/128",
          "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128"}) {
        IpGenAddrWithMask const value(text);
        std::ostringstream out;
        out << value;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(value.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", value), text);
        EXPECT_EQ(valueToStrep(value), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<IpGenAddrWithMask>(text), value);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").read<IpGenAddrWithMask>("addr"), value);
    }
}

TEST(IpGenAddrWithMask, AnotherTextIsAnError) {
    for (std::string const text :
         {"10.0.0.1", "10.0.0.1/33", "::1/129", "::1", "/24", "10.0.0.1/24/24"}) {
        EXPECT_THROW(Zin::strepToValue<IpGenAddrWithMask>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
