#include "VirtualIp/VrfIpWithMaskPair.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace VirtualIp {
namespace {

VrfIpWithMaskPair pair(char const* vrf, char const* addr) {
    return {vrf, Nimb::IpAddrWithMask(addr)};
}

TEST(VrfIpWithMaskPair, IsItsVrfAndItsAddress) {
    auto const key = pair("red", "10.0.0.1/24");
    EXPECT_EQ(key.vrfName(), L3::VrfName("red"));
    EXPECT_EQ(key.addrWithMask(), Nimb::IpAddrWithMask("10.0.0.1/24"));
    EXPECT_EQ(VrfIpWithMaskPair(), pair("", "0.0.0.0/0"));
}

TEST(VrfIpWithMaskPair, ComparesByVrfThenByAddressThenByLength) {
    auto const key = pair("red", "10.0.0.1/24");
    EXPECT_EQ(key, pair("red", "10.0.0.1/24"));
    EXPECT_LT(pair("blue", "10.0.0.2/24"), key);
    EXPECT_LT(pair("red", "9.0.0.1/24"), key);
    EXPECT_LT(key, pair("red", "10.0.0.1/25"));
}

TEST(VrfIpWithMaskPair, EveryFieldAndTheSeedMoveTheHash) {
    auto const key = pair("red", "10.0.0.1/24");
    EXPECT_EQ(key.hash(1), pair("red", "10.0.0.1/24").hash(1));
    EXPECT_NE(key.hash(1), key.hash(2));
    EXPECT_NE(key.hash(1), pair("blue", "10.0.0.1/24").hash(1));
    EXPECT_NE(key.hash(1), pair("red", "10.0.0.2/24").hash(1));
    EXPECT_NE(key.hash(1), pair("red", "10.0.0.1/25").hash(1));
}

TEST(VrfIpWithMaskPair, PrintsItsFields) {
    auto const key = pair("red", "10.0.0.1/24");
    EXPECT_EQ(key.toStrep(), "vrfName=red;addrWithMask=10.0.0.1/24");
    EXPECT_EQ(fmt::format("{}", key), key.toStrep());
    EXPECT_EQ(valueToStrep(key),
              "Value('VirtualIp::VrfIpWithMaskPair', ** {'vrfName': 'red', 'addrWithMask': "
              "'10.0.0.1/24'})");
}

TEST(VrfIpWithMaskPair, BothTextFormsReadBack) {
    for (char const* vrf : {"", "red", "a;addrWithMask=1.2.3.4/5", "it's"}) {
        auto const key = pair(vrf, "10.0.0.1/24");
        EXPECT_EQ(Zin::strepToValue<VrfIpWithMaskPair>(key.toStrep()), key);
        std::string const text = valueToStrep(key);
        Zin::TextReader reader(text);
        EXPECT_EQ(reader.read<VrfIpWithMaskPair>("key"), key);
        EXPECT_NO_THROW(reader.end());
    }
}

TEST(VrfIpWithMaskPair, AMalformedTextNamesTheAttribute) {
    try {
        Zin::strepToValue<VrfIpWithMaskPair>("vrfName=red;addrWithMask=10.0.0.1/33");
        FAIL() << "read a prefix length of 33";
    } catch (Zin::ParseError const& error) {
        EXPECT_EQ(error.attribute(), "addrWithMask");
    }
    for (char const* text : {"", "vrfName=red", "vrfName=red;addrWithMask=10.0.0.1/24 ",
                             "addrWithMask=10.0.0.1/24", "vrfName=red;addrWithMask=10.0.0.1"}) {
        EXPECT_THROW(Zin::strepToValue<VrfIpWithMaskPair>(text), Zin::ParseError) << text;
    }
}

}  // namespace
}  // namespace VirtualIp
