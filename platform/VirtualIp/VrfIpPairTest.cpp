// The keys of virtual addresses of both families: an IPv6 one is an address, an IPv4 one has a
// prefix length too.

#include "VirtualIp/VrfIpPair.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "VirtualIp/VrfIpWithMaskPair.h"
#include "Zin/Format.h"
#include "Zin/TestHashFamilies.h"

namespace VirtualIp {
namespace {

struct OfIp {
    using Pair = VrfIpWithMaskPair;
    using Addr = Nimb::IpAddrWithMask;
    static constexpr char const* type = "VirtualIp::VrfIpWithMaskPair";
    static constexpr char const* attribute = "addrWithMask";
    static constexpr char const* none = "0.0.0.0/0";
    // In ascending order.
    static constexpr char const* addr = "10.0.0.1/24";
    static constexpr char const* next = "10.0.0.2/24";
    static Addr addrOf(Pair const& pair) { return pair.addrWithMask(); }
    static Pair pairOf(Zin::HashInput<2> const& input) {
        return {Zin::textOf(Zin::HashInput<2>{input[0], input[1] >> 37}),
                Addr(Nimb::Ip4Addr(static_cast<std::uint32_t>(input[1])),
                     static_cast<std::uint8_t>(input[1] >> 32 & 31))};
    }
    static constexpr std::size_t pairWords = 2;
};

struct OfIp6 {
    using Pair = VrfIpPair;
    using Addr = Nimb::Ip6Addr;
    static constexpr char const* type = "VirtualIp::VrfIpPair";
    static constexpr char const* attribute = "addr";
    static constexpr char const* none = "::";
    static constexpr char const* addr = "2001:db8::1";
    static constexpr char const* next = "2001:db8::2";
    static Addr addrOf(Pair const& pair) { return pair.addr(); }
    static Pair pairOf(Zin::HashInput<3> const& input) {
        return {Zin::textOf(Zin::HashInput<1>{input[0]}),
                Addr(std::bit_cast<Nimb::Ip6Bytes>(std::array{input[1], input[2]}))};
    }
    static constexpr std::size_t pairWords = 3;
};

template <class Family>
class VirtualPair : public testing::Test {
protected:
    static typename Family::Pair pair(char const* vrf, char const* addr) {
        return {vrf, typename Family::Addr(addr)};
    }
};
using Families = testing::Types<OfIp, OfIp6>;
TYPED_TEST_SUITE(VirtualPair, Families);

TYPED_TEST(VirtualPair, IsItsVrfAndItsAddress) {
    auto const key = this->pair("red", TypeParam::addr);
    EXPECT_EQ(key.vrfName(), L3::VrfName("red"));
    EXPECT_EQ(TypeParam::addrOf(key), typename TypeParam::Addr(TypeParam::addr));
    EXPECT_EQ(typename TypeParam::Pair(), this->pair("", TypeParam::none));
}

TYPED_TEST(VirtualPair, ComparesByVrfThenByAddress) {
    auto const key = this->pair("red", TypeParam::addr);
    EXPECT_EQ(key, this->pair("red", TypeParam::addr));
    EXPECT_LT(this->pair("blue", TypeParam::next), key);
    EXPECT_LT(key, this->pair("red", TypeParam::next));
}

TYPED_TEST(VirtualPair, EveryFieldAndTheSeedMoveTheHash) {
    auto const key = this->pair("red", TypeParam::addr);
    EXPECT_EQ(key.hash(1), this->pair("red", TypeParam::addr).hash(1));
    EXPECT_NE(key.hash(1), key.hash(2));
    EXPECT_NE(key.hash(1), this->pair("blue", TypeParam::addr).hash(1));
    EXPECT_NE(key.hash(1), this->pair("red", TypeParam::next).hash(1));
}

TYPED_TEST(VirtualPair, HasNoCostlyFamily) {
    Zin::expectNoCostlyFamily<TypeParam::pairWords>(TypeParam::pairOf);
}

TYPED_TEST(VirtualPair, StandsInContainersOfTheStandardLibrary) {
    auto const key = this->pair("red", TypeParam::addr);
    std::unordered_set<typename TypeParam::Pair> const keys{
        key, this->pair("blue", TypeParam::addr), key};
    EXPECT_EQ(keys.size(), 2U);
}

TYPED_TEST(VirtualPair, PrintsItsFields) {
    auto const key = this->pair("red", TypeParam::addr);
    EXPECT_EQ(key.toStrep(),
              fmt::format("vrfName=red;{}={}", TypeParam::attribute, TypeParam::addr));
    EXPECT_EQ(fmt::format("{}", key), key.toStrep());
    EXPECT_EQ(valueToStrep(key),
              fmt::format("Value('{}', ** {{'vrfName': 'red', '{}': '{}'}})", TypeParam::type,
                          TypeParam::attribute, TypeParam::addr));
}

TYPED_TEST(VirtualPair, BothTextFormsReadBack) {
    using Pair = typename TypeParam::Pair;
    std::string const likeAField = fmt::format("a;{}={}", TypeParam::attribute, TypeParam::next);
    for (char const* vrf : {"", "red", likeAField.c_str(), "it's"}) {
        auto const key = this->pair(vrf, TypeParam::addr);
        EXPECT_EQ(Zin::strepToValue<Pair>(key.toStrep()), key);
        std::string const text = valueToStrep(key);
        Zin::TextReader reader(text);
        EXPECT_EQ(reader.template read<Pair>("key"), key);
        EXPECT_NO_THROW(reader.end());
    }
}

TYPED_TEST(VirtualPair, AMalformedTextIsAnError) {
    std::string const addr = fmt::format("{}={}", TypeParam::attribute, TypeParam::addr);
    for (std::string const& text :
         std::vector<std::string>{"", "vrfName=red", "vrfName=red;" + addr + " ", addr}) {
        EXPECT_THROW(Zin::strepToValue<typename TypeParam::Pair>(text), Zin::ParseError) << text;
    }
}

// An address that is wrong in the family's own way, where the error names it.
template <class Pair>
std::string attributeOfError(char const* text) {
    try {
        Zin::strepToValue<Pair>(text);
    } catch (Zin::ParseError const& error) {
        return std::string(error.attribute());
    }
    return "none";
}

TEST(VrfIpPair, AnIp4AddressOrAPrefixLengthIsAnError) {
    EXPECT_EQ(attributeOfError<VrfIpPair>("vrfName=red;addr=10.0.0.1"), "addr");
    EXPECT_EQ(attributeOfError<VrfIpPair>("vrfName=red;addr=::1/128"), "addr");
}

TEST(VrfIpPair, EqualsWhatNamesItsAddressOtherwise) {
    EXPECT_EQ(VrfIpPair("red", Nimb::Ip6Addr("2001:db8::1")),
              VrfIpPair("red", Nimb::Ip6Addr("2001:DB8:0::1")));
}

VrfIpWithMaskPair withMask(char const* addr) { return {"red", Nimb::IpAddrWithMask(addr)}; }

TEST(VrfIpWithMaskPair, ComparesByAddressThenByLength) {
    EXPECT_LT(withMask("9.0.0.1/25"), withMask("10.0.0.1/24"));
    EXPECT_LT(withMask("10.0.0.1/24"), withMask("10.0.0.1/25"));
}

TEST(VrfIpWithMaskPair, TheLengthMovesTheHash) {
    EXPECT_NE(withMask("10.0.0.1/24").hash(1), withMask("10.0.0.1/25").hash(1));
}

TEST(VrfIpWithMaskPair, ALengthBeyondTheAddressOrNoneIsAnError) {
    EXPECT_EQ(attributeOfError<VrfIpWithMaskPair>("vrfName=red;addrWithMask=10.0.0.1/33"),
              "addrWithMask");
    EXPECT_EQ(attributeOfError<VrfIpWithMaskPair>("vrfName=red;addrWithMask=10.0.0.1"),
              "addrWithMask");
}

}  // namespace
}  // namespace VirtualIp
