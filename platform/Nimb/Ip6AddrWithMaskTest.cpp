#include "Nimb/Ip6AddrWithMask.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"

namespace Nimb {
namespace {

TEST(Ip6AddrWithMask, DefaultStandsForNone) {
    EXPECT_EQ(Ip6AddrWithMask(), Ip6AddrWithMask("::/0"));
    EXPECT_NE(Ip6AddrWithMask(), Ip6AddrWithMask("::/128"));
}

TEST(Ip6AddrWithMask, KeepsTheHostBitsOfTheAddress) {
    Ip6AddrWithMask const value(Ip6Addr("2001:db8::1"), 64);

    EXPECT_EQ(value, Ip6AddrWithMask("2001:db8::1/64"));
    EXPECT_EQ(value.address(), Ip6Addr("2001:db8::1"));
    EXPECT_EQ(value.prefixLength(), 64);
}

TEST(Ip6AddrWithMask, ALengthBeyondTheAddressIsARangeError) {
    EXPECT_THROW(Ip6AddrWithMask(Ip6Addr(), 129), Zin::RangeError);
    EXPECT_NO_THROW(Ip6AddrWithMask(Ip6Addr(), 128));
}

TEST(Ip6AddrWithMask, IsSeventeenPlainBytes) {
    static_assert(std::is_trivially_copyable_v<Ip6AddrWithMask>);
    EXPECT_EQ(sizeof(Ip6AddrWithMask), 17U);
}

TEST(Ip6AddrWithMask, SortsByAddressThenByLength) {
    EXPECT_LT(Ip6AddrWithMask("2001:db8::1/64"), Ip6AddrWithMask("2001:db8::2/48"));
    EXPECT_LT(Ip6AddrWithMask("2001:db8::1/48"), Ip6AddrWithMask("2001:db8::1/64"));
}

TEST(Ip6AddrWithMask, HashesByAddressLengthAndSeed) {
    Ip6AddrWithMask const value("2001:db8::1/64");

    EXPECT_EQ(value.hash(3), Ip6AddrWithMask(Ip6Addr("2001:db8::1"), 64).hash(3));
    EXPECT_NE(value.hash(3), Ip6AddrWithMask("2001:db8::1/48").hash(3));
    EXPECT_NE(value.hash(3), Ip6AddrWithMask("2001:db8::2/64").hash(3));
    EXPECT_NE(value.hash(3), value.hash(4));
}

TEST(Ip6AddrWithMask, PrintsAndReadsBack) {
    for (std::string const text : {"::/0", "2001:db8::1/64", "2001:db8::2/128"}) {
        Ip6AddrWithMask const value(text);
        std::ostringstream out;
        out << value;

        EXPECT_EQ(out.str(), text);
        EXPECT_EQ(value.toStrep(), text);
        EXPECT_EQ(fmt::format("{}", value), text);
        EXPECT_EQ(valueToStrep(value), "'" + text + "'");
        EXPECT_EQ(Zin::strepToValue<Ip6AddrWithMask>(text), value);
        EXPECT_EQ(Zin::TextReader("'" + text + "'").read<Ip6AddrWithMask>("addr"), value);
    }
}

TEST(Ip6AddrWithMask, AnotherTextIsAnError) {
    for (std::string const text : {"", "2001:db8::1", "2001:db8::1/", "2001:db8::1/129",
                                   "2001:db8::1/048", "2001:db8::1/64 ", "10.0.0.1/24"}) {
        EXPECT_THROW(Zin::strepToValue<Ip6AddrWithMask>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
