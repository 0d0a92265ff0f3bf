#include "Nimb/AddressFamily.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Nimb {
namespace {

TEST(AddressFamily, UnsetSortsBeforeIpv4BeforeIpv6) {
    EXPECT_EQ(AddressFamily{}, AddressFamily::unset);
    EXPECT_LT(AddressFamily::unset, AddressFamily::ipv4);
    EXPECT_LT(AddressFamily::ipv4, AddressFamily::ipv6);
    EXPECT_EQ(sizeof(AddressFamily), 1U);
}

TEST(AddressFamily, PrintsItsName) {
    std::ostringstream out;
    out << AddressFamily::ipv4;

    EXPECT_EQ(out.str(), "IPv4");
    EXPECT_EQ(toStrep(AddressFamily::ipv6), "IPv6");
    EXPECT_EQ(toStrep(AddressFamily::unset), "");
    EXPECT_EQ(fmt::format("{:>5}", AddressFamily::ipv6), " IPv6");
    EXPECT_EQ(valueToStrep(AddressFamily::ipv4), "'IPv4'");
}

TEST(AddressFamily, ReadsBackFromBothForms) {
    for (auto const family : {AddressFamily::unset, AddressFamily::ipv4, AddressFamily::ipv6}) {
        EXPECT_EQ(Zin::strepToValue<AddressFamily>(toStrep(family)), family);
        std::string const text = valueToStrep(family);
        EXPECT_EQ(Zin::TextReader(text).read<AddressFamily>("af"), family);
    }
}

TEST(AddressFamily, AnotherTextIsAnError) {
    EXPECT_THROW(Zin::strepToValue<AddressFamily>("ipv4"), Zin::ParseError);
    EXPECT_THROW(Zin::strepToValue<AddressFamily>("IPv46"), Zin::ParseError);
}

TEST(AddressFamily, KnowsHowManyBitsAnAddressHas) {
    EXPECT_EQ(maxPrefixLength(AddressFamily::unset), 0);
    EXPECT_EQ(maxPrefixLength(AddressFamily::ipv4), 32);
    EXPECT_EQ(maxPrefixLength(AddressFamily::ipv6), 128);
}

}  // namespace
}  // namespace Nimb
