#include "Nimb/IpGenPrefix.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::Throws;

TEST(IpGenPrefix, DefaultIsUnset) {
    EXPECT_EQ(IpGenPrefix().family(), AddressFamily::unset);
    EXPECT_EQ(IpGenPrefix().toStrep(), "");
    EXPECT_EQ(IpGenPrefix(""), IpGenPrefix());
    EXPECT_EQ(IpGenPrefix(IpGenAddr(), 0), IpGenPrefix());
    EXPECT_NE(IpGenPrefix("0.0.0.0/0"), IpGenPrefix());
}

TEST(IpGenPrefix, IsTheSubnetInWhichAnAddressLies) {
    IpGenPrefix const subnet(IpGenAddr("10.1.1.200"), 25);

    EXPECT_EQ(subnet, IpGenPrefix("10.1.1.128/25"));
    EXPECT_EQ(subnet.family(), AddressFamily::ipv4);
    EXPECT_EQ(subnet.address(), IpGenAddr("10.1.1.128"));
    EXPECT_EQ(subnet.prefixLength(), 25);
    EXPECT_EQ(IpGenPrefix(IpGenAddr("2001:db8::1:2"), 112), IpGenPrefix("2001:db8::1:0/112"));
}

TEST(IpGenPrefix, ALengthBeyondTheAddressIsARangeError) {
    EXPECT_THROW(IpGenPrefix(IpGenAddr("10.0.0.1"), 33), Zin::RangeError);
    EXPECT_THROW(IpGenPrefix(IpGenAddr("::1"), 129), Zin::RangeError);
    EXPECT_THROW(IpGenPrefix(IpGenAddr(), 1), Zin::RangeError);
    EXPECT_NO_THROW(IpGenPrefix(IpGenAddr("10.0.0.1"), 32));
    EXPECT_NO_THROW(IpGenPrefix(IpGenAddr("::1"), 128));
}

TEST(IpGenPrefix, IsEighteenPlainBytes) {
    static_assert(std::is_trivially_copyable_v<IpGenPrefix>);
    EXPECT_EQ(sizeof(IpGenPrefix), 18U);
    EXPECT_EQ(alignof(IpGenPrefix), 1U);
}

TEST(IpGenPrefix, SortsByFamilyThenAddressThenLength) {
    EXPECT_LT(IpGenPrefix(), IpGenPrefix("0.0.0.0/0"));
    EXPECT_LT(IpGenPrefix("255.0.0.0/8"), IpGenPrefix("::/0"));
    EXPECT_LT(IpGenPrefix("10.0.0.0/24"), IpGenPrefix("10.0.1.0/24"));
    EXPECT_LT(IpGenPrefix("10.0.0.0/16"), IpGenPrefix("10.0.0.0/24"));
    EXPECT_LT(IpGenPrefix("10.0.0.0/24"), IpGenPrefix("11.0.0.0/8"));
}

TEST(IpGenPrefix, HashesByAddressLengthAndSeed) {
    EXPECT_EQ(IpGenPrefix("10.0.0.0/24").hash(3), IpGenPrefix(IpGenAddr("10.0.0.9"), 24).hash(3));
    EXPECT_NE(IpGenPrefix("10.0.0.0/24").hash(3), IpGenPrefix("10.0.0.0/25").hash(3));
    EXPECT_NE(IpGenPrefix("10.0.0.0/24").hash(3), IpGenPrefix("10.0.1.0/24").hash(3));
    EXPECT_NE(IpGenPrefix("10.0.0.0/24").hash(3), IpGenPrefix("10.0.0.0/24").hash(4));
}

TEST(IpGenPrefix, PrintsAndReadsBack) {
    for (std::string const text : {"", "0.0.0.0/0", "10.0.0.0/24", "10.0.0.1/32", "::/0",
                                   "2001:db8::/64", "fe80::/10", "::1/128"}) {
        IpGenPrefix const subnet(text);
        std::ostringstream out;
        out << subnet;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(subnet.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", subnet), text);
        EXPECT_EQ(valueToStrep(subnet), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<IpGenPrefix>(text), subnet);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").read<IpGenPrefix>("subnet"), subnet);
    }
}

TEST(IpGenPrefix, ATextWithHostBitsSetIsAnError) {
    for (std::string const text : {"10.0.0.1/24", "2001:db8::1/127", "0.0.0.1/0"}) {
        EXPECT_THAT(
            [&] { Zin::strepToValue<IpGenPrefix>(text); },
            Throws<Zin::ParseError>(Property(&Zin::ParseError::what, HasSubstr("host bits set"))))
            << text;
    }
}

TEST(IpGenPrefix, AnotherTextIsAnError) {
    for (std::string const text :
         {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "::/129", "/0", "10.0.0.0/24 ", "10.0.0.0/024"}) {
        EXPECT_THROW(Zin::strepToValue<IpGenPrefix>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
