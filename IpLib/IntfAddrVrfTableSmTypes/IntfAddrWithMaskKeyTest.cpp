#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMaskKey.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <sstream>
#include <string>
#include <tuple>
#include <unordered_set>

#include "IpLib/IntfAddrVrfTableTypes/TestHash.h"
#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"
#include "Nimb/TestNamedFamilies.h"
#include "Zin/Hash.h"
#include "Zin/TestHashFamilies.h"

namespace IpLib {
namespace {

using Key = IntfAddrWithMaskKey;

Key keyOf(char const* intfId, char const* addrWithMask) {
    return {intfId, Nimb::IpGenAddrWithMask{std::string_view(addrWithMask)}};
}
Key randomKey(TestKit::RandomValues& random) { return {random.intfId(), random.addrWithMask()}; }

Key parse(std::string_view text) { return Zin::strepToValue<Key>(text); }
std::string print(Key const& key) { return valueToStrep(key); }

TEST(IntfAddrWithMaskKey, TheDefaultIsOfNoInterfaceAndNoAddress) {
    EXPECT_EQ(Key(), keyOf("", ""));
    EXPECT_EQ(Key().addrWithMask.family(), Nimb::AddressFamily::unset);
}

TEST(IntfAddrWithMaskKey, IsLinkLocalByItsAddressAlone) {
    EXPECT_TRUE(keyOf("Ethernet1", "fe80::1/64").isV6LinkLocal());
    EXPECT_TRUE(keyOf("", "febf::1/128").isV6LinkLocal());
    EXPECT_FALSE(keyOf("Ethernet1", "fec0::1/64").isV6LinkLocal());
    EXPECT_FALSE(keyOf("Ethernet1", "2001:db8::1/64").isV6LinkLocal());
    EXPECT_FALSE(keyOf("Ethernet1", "169.254.0.1/16").isV6LinkLocal());
    // Its bytes are those of a link-local IPv6 address.
    EXPECT_FALSE(keyOf("Ethernet1", "254.128.0.1/16").isV6LinkLocal());
    EXPECT_FALSE(Key().isV6LinkLocal());
}

TEST(IntfAddrWithMaskKey, DiffersByInterfaceByAddressAndByPrefixLength) {
    Key const key = keyOf("Ethernet1", "10.0.0.1/24");

    EXPECT_EQ(key, keyOf("Ethernet1", "10.0.0.1/24"));
    EXPECT_NE(key, keyOf("Ethernet2", "10.0.0.1/24"));
    EXPECT_NE(key, keyOf("Ethernet1", "10.0.0.2/24"));
    EXPECT_NE(key, keyOf("Ethernet1", "10.0.0.1/25"));
}

TEST(IntfAddrWithMaskKey, SortsByInterfaceThenAddressWithMask) {
    EXPECT_LT(keyOf("Ethernet1", "10.0.0.1/24"), keyOf("Ethernet2", "1.1.1.1/8"));
    TestKit::RandomValues random;
    TestKit::expectOrderOf(
        [](Key const& key) {
            auto const& [intfId, addrWithMask] = key;
            return std::tuple(std::string(intfId.name()), static_cast<int>(addrWithMask.family()),
                              addrWithMask.address().bytes(), addrWithMask.prefixLength());
        },
        [&] { return randomKey(random); });
}

TEST(IntfAddrWithMaskKey, HashesItsInterfaceThenItsAddressWithItsPrefixLengthThenTheLength) {
    TestKit::RandomValues random;
    for (int i = 0; i < 10000; ++i) {
        Key const key = randomKey(random);
        auto const seed = static_cast<std::uint32_t>(random.below(1U << 31));
        Zin::Hash stated(seed);
        stated.mix4(key.intfId.hash());
        stated.mix4(
            TestKit::prefixHash(key.addrWithMask.address(), key.addrWithMask.prefixLength()));
        stated.mix1(key.addrWithMask.prefixLength());

        ASSERT_EQ(key.hash(seed), stated.finish()) << key;
    }
}

TEST(IntfAddrWithMaskKey, HasNoCostlyFamilyOfIpv6Addresses) {
    Nimb::expectNoCostlyNamedFamily<3>([](auto const& input) {
        Nimb::Ip6Addr const addr(std::bit_cast<Nimb::Ip6Bytes>(std::array{input[1], input[2]}));
        return IntfAddrWithMaskKey{Zin::textOf(Zin::HashInput<1>{input[0]}),
                                   Nimb::IpGenAddrWithMask(addr, 64)};
    });
}

// Addresses that make up for their lengths: each 33 neighbours in a row share a prefixHash.
TEST(IntfAddrWithMaskKey, HasNoCostlyFamilyOfIpv4Addresses) {
    Nimb::expectNoCostlyNamedFamily<1>([](auto const& input) {
        auto const length = static_cast<std::uint8_t>(input[0] % 33);
        std::uint64_t const number = input[0] / 33;
        Nimb::Ip4Addr const addr(static_cast<std::uint32_t>(number << 6) ^ length);
        return IntfAddrWithMaskKey{Zin::textOf(Zin::HashInput<1>{number >> 26}),
                                   Nimb::IpGenAddrWithMask(addr, length)};
    });
}

TEST(IntfAddrWithMaskKey, StandsInContainersOfTheStandardLibrary) {
    std::unordered_set<IntfAddrWithMaskKey> const keys{keyOf("Ethernet1", "10.1.1.1/24"),
                                                       keyOf("Ethernet1", "10.1.1.1/25"),
                                                       keyOf("Ethernet1", "10.1.1.1/24")};
    EXPECT_EQ(keys.size(), 2U);
}

TEST(IntfAddrWithMaskKey, AnAddressOfNoFamilyHashesAsZero) {
    Key const key = keyOf("Ethernet1", "");

    EXPECT_EQ(key.hash(7), Zin::Hash(7).mix4(key.intfId.hash()).mix4(0).finish());
}

TEST(IntfAddrWithMaskKey, PrintsItsShortForm) {
    EXPECT_EQ(Key().toStrep(), "intfId=;addrWithMask=");
    EXPECT_EQ(keyOf("Ethernet1", "10.1.1.1/24").toStrep(),
              "intfId=Ethernet1;addrWithMask=10.1.1.1/24");
    std::ostringstream out;
    out << keyOf("Ethernet1", "2001:db8::1/64");
    EXPECT_EQ(out.str(), "intfId=Ethernet1;addrWithMask=2001:db8::1/64");
}

TEST(IntfAddrWithMaskKey, PrintsItsReflectiveForm) {
    EXPECT_EQ(valueToStrep(Key()),
              "Value('IpLib::IntfAddrWithMaskKey', ** {'intfId': '', 'addrWithMask': ''})");
    EXPECT_EQ(valueToStrep(keyOf("Eth'1", "10.1.1.1/24")),
              "Value('IpLib::IntfAddrWithMaskKey', ** {'intfId': 'Eth\\'1', 'addrWithMask': "
              "'10.1.1.1/24'})");
}

TEST(IntfAddrWithMaskKey, ItsReflectiveFormReadsBackWhateverTheInterfaceIsCalled) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] { return randomKey(random); });
}

TEST(IntfAddrWithMaskKey, ACutTextIsAnErrorThatNamesTheAttribute) {
    TestKit::expectEveryCutNamesItsAttribute({{"", "Value('IpLib::IntfAddrWithMaskKey', ** {"},
                                              {"", "'intfId': "},
                                              {"intfId", "'Ethernet1'"},
                                              {"", ", 'addrWithMask': "},
                                              {"addrWithMask", "'10.1.1.1/24'"},
                                              {"", "})"}},
                                             parse);
}

TEST(IntfAddrWithMaskKey, AMalformedAttributeIsAnErrorThatNamesIt) {
    auto const reading = [](std::string intfId, std::string addrWithMask, std::string rest = "") {
        std::string const text =
            "Value('IpLib::IntfAddrWithMaskKey', ** {'intfId': " + std::move(intfId) +
            ", 'addrWithMask': " + std::move(addrWithMask) + "})" + std::move(rest);
        return [text] { parse(text); };
    };
    auto const failsIn = [](char const* attribute) {
        return ::testing::Throws<Zin::ParseError>(
            ::testing::Property(&Zin::ParseError::attribute, attribute));
    };

    EXPECT_NO_THROW(reading("''", "''")());
    EXPECT_THAT(reading("Ethernet1", "''"), failsIn("intfId"));
    EXPECT_THAT(reading("'\n'", "''"), failsIn("intfId"));
    EXPECT_THAT(reading("''", "'10.1.1.1'"), failsIn("addrWithMask"));
    EXPECT_THAT(reading("''", "'10.1.1.1/33'"), failsIn("addrWithMask"));
    EXPECT_THAT(reading("''", "'2001:db8::1/129'"), failsIn("addrWithMask"));
    EXPECT_THAT(reading("''", "10.1.1.1/24"), failsIn("addrWithMask"));
    EXPECT_THAT(reading("''", "''", ";"), failsIn(""));
    EXPECT_THAT([] { parse("intfId=Ethernet1;addrWithMask=10.1.1.1/24"); }, failsIn(""));
}

TEST(IntfAddrWithMaskKey, ADamagedTextIsAnErrorOrAnotherKey) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return randomKey(random); });
}

}  // namespace
}  // namespace IpLib
