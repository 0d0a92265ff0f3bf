#include "VirtualIp/VrfIpPair.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace VirtualIp {
namespace {

VrfIpPair pair(char const* vrf, char const* addr) { return {vrf, Nimb::Ip6Addr(addr)}; }

TEST(VrfIpPair, IsItsVrfAndItsAddress) {
    auto const key = pair("red", "2001:db8::1");
    EXPECT_EQ(key.vrfName(), L3::VrfName("red"));
    EXPECT_EQ(key.addr(), Nimb::Ip6Addr("2001:db8::1"));
    EXPECT_EQ(VrfIpPair(), pair("", "::"));
}

TEST(VrfIpPair, ComparesByVrfThenByAddress) {
    auto const key = pair("red", "2001:db8::1");
    EXPECT_EQ(key, pair("red", "2001:DB8:0::1"));
    EXPECT_LT(pair("blue", "2001:db8::2"), key);
    EXPECT_LT(key, pair("red", "2001:db8::2"));
}

TEST(VrfIpPair, EveryFieldAndTheSeedMoveTheHash) {
    auto const key = pair("red", "2001:db8::1");
    EXPECT_EQ(key.hash(1), pair("red", "2001:db8::1").hash(1));
    EXPECT_NE(key.hash(1), key.hash(2));
    EXPECT_NE(key.hash(1), pair("blue", "2001:db8::1").hash(1));
    EXPECT_NE(key.hash(1), pair("red", "2001:db8::2").hash(1));
}

TEST(VrfIpPair, PrintsItsFields) {
    auto const key = pair("red", "2001:db8::1");
    EXPECT_EQ(key.toStrep(), "vrfName=red;addr=2001:db8::1");
    EXPECT_EQ(fmt::format("{}", key), key.toStrep());
    EXPECT_EQ(valueToStrep(key),
              "Value('VirtualIp::VrfIpPair', ** {'vrfName': 'red', 'addr': '2001:db8::1'})");
}

TEST(VrfIpPair, BothTextFormsReadBack) {
    for (char const* vrf : {"", "red", "a;addr=::1", "it's"}) {
        auto const key = pair(vrf, "2001:db8::1");
        EXPECT_EQ(Zin::strepToValue<VrfIpPair>(key.toStrep()), key);
        std::string const text = valueToStrep(key);
        Zin::TextReader reader(text);
        EXPECT_EQ(reader.read<VrfIpPair>("key"), key);
        EXPECT_NO_THROW(reader.end());
    }
}

TEST(VrfIpPair, AMalformedTextNamesTheAttribute) {
    try {
        Zin::strepToValue<VrfIpPair>("vrfName=red;addr=10.0.0.1");
        FAIL() << "read an IPv4 address";
    } catch (Zin::ParseError const& error) {
        EXPECT_EQ(error.attribute(), "addr");
    }
    for (char const* text :
         {"", "vrfName=red", "vrfName=red;addr=::1 ", "addr=::1", "vrfName=red;addr=::1/128"}) {
        EXPECT_THROW(Zin::strepToValue<VrfIpPair>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace VirtualIp
