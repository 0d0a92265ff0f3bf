#include "Nimb/IpAddrWithMask.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"

namespace Nimb {
namespace {

TEST(IpAddrWithMask, DefaultStandsForNone) {
    EXPECT_EQ(IpAddrWithMask(), IpAddrWithMask("0.0.0.0/0"));
    EXPECT_NE(IpAddrWithMask(), IpAddrWithMask("0.0.0.0/32"));
}

TEST(IpAddrWithMask, KeepsTheHostBitsOfTheAddress) {
    IpAddrWithMask const value(Ip4Addr("10.0.0.1"), 24);

    EXPECT_EQ(value, IpAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(value.address(), Ip4Addr("10.0.0.1"));
    EXPECT_EQ(value.prefixLength(), 24);
}

TEST(IpAddrWithMask, ALengthBeyondTheAddressIsARangeError) {
    EXPECT_THROW(IpAddrWithMask(Ip4Addr(), 33), Zin::RangeError);
    EXPECT_NO_THROW(IpAddrWithMask(Ip4Addr(), 32));
}

TEST(IpAddrWithMask, IsFivePlainBytes) {
    static_assert(std::is_trivially_copyable_v<IpAddrWithMask>);
    EXPECT_EQ(sizeof(IpAddrWithMask), 5U);
}

TEST(IpAddrWithMask, SortsByAddressThenByLength) {
    EXPECT_LT(IpAddrWithMask("10.0.0.1/24"), IpAddrWithMask("10.0.0.2/8"));
    EXPECT_LT(IpAddrWithMask("10.0.0.1/8"), IpAddrWithMask("10.0.0.1/24"));
}

TEST(IpAddrWithMask, HashesByAddressLengthAndSeed) {
    IpAddrWithMask const value("10.0.0.1/24");

    EXPECT_EQ(value.hash(3), IpAddrWithMask(Ip4Addr("10.0.0.1"), 24).hash(3));
    EXPECT_NE(value.hash(3), IpAddrWithMask("10.0.0.1/8").hash(3));
    EXPECT_NE(value.hash(3), IpAddrWithMask("10.0.0.2/24").hash(3));
    EXPECT_NE(value.hash(3), value.hash(4));
}

TEST(IpAddrWithMask, PrintsAndReadsBack) {
    for (std::string const text : {"0.0.0.0/0", "10.0.0.1/24", "10.0.0.2/32"}) {
        IpAddrWithMask const value(text);
        std::ostringstream out;
        out << value;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(value.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", value), text);
        EXPECT_EQ(valueToStrep(value), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<IpAddrWithMask>(text), value);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").read<IpAddrWithMask>("addr"), value);
    }
}

TEST(IpAddrWithMask, AnotherTextIsAnError) {
    for (std::string const text :
         {"", "10.0.0.1", "10.0.0.1/", "10.0.0.1/33", "10.0.0.1/08", "10.0.0.1/24 ", "::1/24"}) {
        EXPECT_THROW(Zin::strepToValue<IpAddrWithMask>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
