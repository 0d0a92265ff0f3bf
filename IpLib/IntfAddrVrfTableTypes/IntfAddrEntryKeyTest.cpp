#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryKey.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <sstream>
#include <string>
#include <tuple>
#include <unordered_set>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"
#include "Nimb/TestNamedFamilies.h"
#include "Zin/Hash.h"
#include "Zin/TestHashFamilies.h"

namespace IpLib {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;

using Key = IntfAddrEntryKey;

Nimb::IpGenAddr const ip("10.0.0.1");
Nimb::IpGenAddr const linkLocal("fe80::1");

Key parse(std::string_view text) { return Zin::strepToValue<Key>(text); }
std::string print(Key const& key) { return key.toStrep(); }

auto failsIn(std::string const& attribute, std::string const& expected = "") {
    return Throws<Zin::ParseError>(
        AllOf(Property(&Zin::ParseError::attribute, StrEq(attribute)),
              Property(&Zin::ParseError::expected, HasSubstr(expected))));
}

TEST(IntfAddrEntryKey, TheDefaultIsOfNoInterfaceAndNoAddress) {
    Key const key;

    EXPECT_TRUE(key.intfId.empty());
    EXPECT_EQ(key.addr.family(), Nimb::AddressFamily::unset);
    EXPECT_FALSE(key.virtualIp);
    EXPECT_EQ(key, Key::makeIpKey({}));
}

TEST(IntfAddrEntryKey, OnlyALinkLocalKeyIsScopedByAnInterface) {
    EXPECT_EQ(Key::makeIpKey(ip), (Key{"", ip, false}));
    EXPECT_EQ(Key::makeLlKey(linkLocal, "Ethernet1"), (Key{"Ethernet1", linkLocal, false}));
    EXPECT_EQ(Key::makeVirtualIpKey(ip), (Key{"", ip, true}));
}

TEST(IntfAddrEntryKey, AnOrdinaryAddressSortsBeforeTheVirtualOneOfTheSameValue) {
    Key const ordinary = Key::makeIpKey(ip);
    Key const virtualKey = Key::makeVirtualIpKey(ip);

    EXPECT_NE(ordinary, virtualKey);
    EXPECT_LT(ordinary, virtualKey);
    EXPECT_NE(ordinary.hash(0), virtualKey.hash(0));
}

TEST(IntfAddrEntryKey, OneLinkLocalAddressOnTwoInterfacesIsTwoKeysBehindItsUnscopedOne) {
    Key const first = Key::makeLlKey(linkLocal, "Ethernet1");
    Key const second = Key::makeLlKey(linkLocal, "Ethernet2");
    Key const unscoped = Key::makeIpKey(linkLocal);

    EXPECT_NE(first, second);
    EXPECT_LT(first, second);
    EXPECT_LT(unscoped, first);
    EXPECT_LT(unscoped, second);
}

TEST(IntfAddrEntryKey, EveryUnscopedKeySortsBeforeEveryScopedOne) {
    EXPECT_LT(Key::makeVirtualIpKey(Nimb::IpGenAddr("ffff::")), Key::makeLlKey({}, "A"));
}

TEST(IntfAddrEntryKey, SortsByInterfaceThenAddressThenVirtual) {
    TestKit::RandomValues random;
    TestKit::expectOrderOf(
        [](Key const& key) {
            return std::tuple(std::string(key.intfId.name()), static_cast<int>(key.addr.family()),
                              key.addr.bytes(), key.virtualIp);
        },
        [&] { return random.key(); });
}

TEST(IntfAddrEntryKey, HashesItsFieldsInOrderTheAddressByItsSixteenBytes) {
    TestKit::RandomValues random;
    for (int i = 0; i < 10000; ++i) {
        Key const key = random.key();
        auto const seed = static_cast<std::uint32_t>(random.below(1U << 31));
        Zin::Hash stated(seed);
        stated.mix4(key.intfId.hash());
        stated.mix4(Nimb::Ip6Addr(key.addr.bytes()).hash());
        stated.mix1(key.virtualIp ? 1 : 0);

        ASSERT_EQ(key.hash(seed), stated.finish()) << key;
    }
}

Nimb::IpGenAddr addrOf(std::uint64_t first, std::uint64_t second) {
    return Nimb::Ip6Addr(std::bit_cast<Nimb::Ip6Bytes>(std::array{first, second}));
}

TEST(IntfAddrEntryKey, HasNoCostlyFamily) {
    Zin::expectNoCostlyFamily<2>(
        [](auto const& input) { return Key::makeIpKey(addrOf(input[0], input[1])); });
    Nimb::expectNoCostlyNamedFamily<3>([](auto const& input) {
        return Key{Zin::textOf(Zin::HashInput<1>{input[0]}), addrOf(input[1], input[2]), false};
    });
}

TEST(IntfAddrEntryKey, StandsInContainersOfTheStandardLibrary) {
    std::unordered_set<Key> const keys{Key(), Key::makeIpKey(ip), Key::makeVirtualIpKey(ip),
                                       Key::makeIpKey(ip)};
    EXPECT_EQ(keys.size(), 3U);
}

TEST(IntfAddrEntryKey, FamiliesWithTheSameBytesHashAlikeAndAreUnequal) {
    Key const ip4 = Key::makeIpKey(Nimb::IpGenAddr("10.0.0.1"));
    Key const ip6 = Key::makeIpKey(Nimb::IpGenAddr("a00:1::"));

    EXPECT_EQ(ip4.hash(1), ip6.hash(1));
    EXPECT_NE(ip4, ip6);
    EXPECT_EQ(Key().hash(1), Key::makeIpKey(Nimb::IpGenAddr("0.0.0.0")).hash(1));
    EXPECT_NE(Key(), Key::makeIpKey(Nimb::IpGenAddr("0.0.0.0")));
}

TEST(IntfAddrEntryKey, PrintsItsShortForm) {
    EXPECT_EQ(Key().toStrep(), "intfId=;addr=;virtualIp=false");
    EXPECT_EQ(Key::makeIpKey(ip).toStrep(), "intfId=;addr=10.0.0.1;virtualIp=false");
    EXPECT_EQ(Key::makeVirtualIpKey(ip).toStrep(), "intfId=;addr=10.0.0.1;virtualIp=true");
    EXPECT_EQ(Key::makeLlKey(linkLocal, "Ethernet1").toStrep(),
              "intfId=Ethernet1;addr=fe80::1;virtualIp=false");
    std::ostringstream out;
    out << Key::makeIpKey(ip);
    EXPECT_EQ(out.str(), "intfId=;addr=10.0.0.1;virtualIp=false");
}

TEST(IntfAddrEntryKey, PrintsItsReflectiveForm) {
    EXPECT_EQ(
        valueToStrep(Key()),
        "Value('IpLib::IntfAddrEntryKey', ** {'intfId': '', 'addr': '', 'virtualIp': false})");
    EXPECT_EQ(valueToStrep(Key{"Eth'1", linkLocal, true}),
              "Value('IpLib::IntfAddrEntryKey', ** {'intfId': 'Eth\\'1', 'addr': 'fe80::1', "
              "'virtualIp': true})");
}

TEST(IntfAddrEntryKey, ReadsBackWhateverTheInterfaceIsCalled) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] { return random.key(); });
    for (char const* const name :
         {";addr=", ";addr=10.0.0.1;virtualIp=true", "intfId=", ";", "="}) {
        Key const key = Key::makeLlKey(linkLocal, name);
        EXPECT_EQ(parse(print(key)), key);
    }
}

TEST(IntfAddrEntryKey, AMalformedFieldIsAnErrorThatNamesIt) {
    auto const reading = [](char const* text) { return [text] { parse(text); }; };

    EXPECT_THAT(reading(""), failsIn("", "intfId="));
    EXPECT_THAT(reading("addr=10.0.0.1;virtualIp=true"), failsIn("", "intfId="));
    EXPECT_THAT(reading("intfId=Ethernet1"), failsIn("", ";addr="));
    EXPECT_THAT(reading("intfId=;virtualIp=true"), failsIn("", ";addr="));
    EXPECT_THAT(reading("intfId=;addr=10.0.0.1"), failsIn("", ";virtualIp="));
    EXPECT_THAT(reading("intfId=;addr=10.0.0;virtualIp=true"), failsIn("addr"));
    EXPECT_THAT(reading("intfId=;addr=10.0.0.1/32;virtualIp=true"), failsIn("addr"));
    EXPECT_THAT(reading("intfId=;addr=10.0.0.1;virtualIp=True"), failsIn("virtualIp"));
    EXPECT_THAT(reading("intfId=;addr=10.0.0.1;virtualIp="), failsIn("virtualIp"));
    EXPECT_THAT(reading("intfId=;addr=10.0.0.1;virtualIp=true;"), failsIn("virtualIp"));
}

TEST(IntfAddrEntryKey, ACutTextIsAnError) {
    // Where a later label is missing, an earlier field has no end.
    TestKit::expectEveryCutNamesItsAttribute(
        {{"", "intfId=Ethernet1;addr=fe80::1;virtualIp="}, {"virtualIp", "true"}}, parse);
}

TEST(IntfAddrEntryKey, ADamagedTextIsAnErrorOrAnotherKey) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return random.key(); });
}

}  // namespace
}  // namespace IpLib
