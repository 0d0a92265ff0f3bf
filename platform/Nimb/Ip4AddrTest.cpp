#include "Nimb/Ip4Addr.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Zin/Errors.h"

namespace Nimb {
namespace {

TEST(Ip4Addr, DefaultIsTheZeroAddress) { EXPECT_EQ(Ip4Addr(), Ip4Addr("0.0.0.0")); }

TEST(Ip4Addr, IsMadeOfItsNumberItsBytesOrItsText) {
    EXPECT_EQ(Ip4Addr(0x0a0102ffU), Ip4Addr("10.1.2.255"));
    EXPECT_EQ(Ip4Addr(Ip4Bytes{10, 1, 2, 255}), Ip4Addr("10.1.2.255"));
    EXPECT_EQ(Ip4Addr("10.1.2.255").value(), 0x0a0102ffU);
    EXPECT_EQ(Ip4Addr("10.1.2.255").bytes(), (Ip4Bytes{10, 1, 2, 255}));
}

TEST(Ip4Addr, IsFourPlainBytes) {
    static_assert(std::is_trivially_copyable_v<Ip4Addr>);
    EXPECT_EQ(sizeof(Ip4Addr), 4U);
    EXPECT_EQ(alignof(Ip4Addr), 1U);
}

TEST(Ip4Addr, SortsByValue) {
    EXPECT_LT(Ip4Addr("9.255.255.255"), Ip4Addr("10.0.0.0"));
    EXPECT_LT(Ip4Addr("10.0.0.1"), Ip4Addr("10.0.0.2"));
    EXPECT_LT(Ip4Addr("127.0.0.1"), Ip4Addr("128.0.0.0"));
}

TEST(Ip4Addr, HashesByValueAndSeed) {
    EXPECT_EQ(Ip4Addr("10.0.0.1").hash(3), Ip4Addr(0x0a000001U).hash(3));
    EXPECT_NE(Ip4Addr("10.0.0.1").hash(3), Ip4Addr("10.0.0.2").hash(3));
    EXPECT_NE(Ip4Addr("10.0.0.1").hash(3), Ip4Addr("10.0.0.1").hash(4));
}

TEST(Ip4Addr, PrintsAndReadsBack) {
    Ip4Addr const address(0x0a0102ffU);
    std::ostringstream out;
    out << address;

    EXPECT_EQ(out.str(), "10.1.2.255");
    EXPECT_EQ(address.toStrep(), "10.1.2.255");
    EXPECT_EQ(fmt::format("{:>12}", address), "  10.1.2.255");
    EXPECT_EQ(valueToStrep(address), "'10.1.2.255'");
    EXPECT_EQ(Zin::strepToValue<Ip4Addr>("10.1.2.255"), address);
    EXPECT_EQ(Zin::TextReader("'10.1.2.255'").read<Ip4Addr>("addr"), address);
}

TEST(Ip4Addr, AnotherTextIsAnError) {
    for (std::string const text : {"", "10.0.0", "10.0.0.1/24", "010.0.0.1", "::1", "10.0.0.1 "}) {
        EXPECT_THROW(Zin::strepToValue<Ip4Addr>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace Nimb
