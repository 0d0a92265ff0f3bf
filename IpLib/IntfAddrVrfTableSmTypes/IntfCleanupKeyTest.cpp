#include "IpLib/IntfAddrVrfTableSmTypes/IntfCleanupKey.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <tuple>
#include <unordered_set>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"
#include "Nimb/TestNamedFamilies.h"

namespace IpLib::IntfAddrVrfTableImpl {
namespace {

using Nimb::AddressFamily;

IntfCleanupKey randomKey(TestKit::RandomValues& random) {
    return {{random.intfId(), static_cast<AddressFamily>(random.below(3))}};
}

IntfCleanupKey parse(std::string_view text) { return Zin::strepToValue<IntfCleanupKey>(text); }
std::string print(IntfCleanupKey const& key) { return valueToStrep(key); }

TEST(IntfCleanupKey, TheTwoFamiliesOfAnInterfaceAreTwoKeys) {
    IntfCleanupKey const ip{{"Ethernet1", AddressFamily::ipv4}};
    IntfCleanupKey const ip6{{"Ethernet1", AddressFamily::ipv6}};

    EXPECT_NE(ip, ip6);
    EXPECT_LT(ip, ip6);
    EXPECT_NE(ip.hash(0), ip6.hash(0));
    EXPECT_EQ(ip, (IntfCleanupKey{{"Ethernet1", AddressFamily::ipv4}}));
}

TEST(IntfCleanupKey, SortsByInterfaceThenFamily) {
    TestKit::RandomValues random;
    TestKit::expectOrderOf(
        [](IntfCleanupKey const& key) {
            return std::tuple(std::string(key.intfId.name()), static_cast<unsigned>(key.af));
        },
        [&] { return randomKey(random); });
}

TEST(IntfCleanupKey, HasNoCostlyFamily) {
    Nimb::expectNoCostlyNamedFamily<2>([](auto const& input) {
        return IntfCleanupKey{{Zin::textOf(input), AddressFamily::ipv6}};
    });
}

TEST(IntfCleanupKey, StandsInContainersOfTheStandardLibrary) {
    std::unordered_set<IntfCleanupKey> const keys{{{"Ethernet1", AddressFamily::ipv4}},
                                                  {{"Ethernet1", AddressFamily::ipv6}},
                                                  {{"Ethernet1", AddressFamily::ipv4}}};
    EXPECT_EQ(keys.size(), 2U);
}

TEST(IntfCleanupKey, HashesItsInterfaceThenItsFamilyInFourBytes) {
    TestKit::RandomValues random;
    for (int i = 0; i < 10000; ++i) {
        IntfCleanupKey const key = randomKey(random);
        auto const seed = static_cast<std::uint32_t>(random.below(1U << 31));
        Zin::Hash stated(seed);
        stated.mix4(key.intfId.hash());
        stated.mix4(static_cast<std::uint32_t>(key.af));

        ASSERT_EQ(key.hash(seed), stated.finish()) << key;
    }
}

TEST(IntfCleanupKey, PrintsItsValueFormToStreamsToo) {
    IntfCleanupKey const key{{"Ethernet1", AddressFamily::ipv6}};
    std::string const text =
        "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {'intfId': 'Ethernet1', 'af': "
        "'IPv6'})";
    std::ostringstream out;
    out << key;

    EXPECT_EQ(valueToStrep(key), text);
    EXPECT_EQ(out.str(), text);
}

TEST(IntfCleanupKey, ItsValueFormReadsBackWhateverTheInterfaceIsCalled) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] { return randomKey(random); });
}

TEST(IntfCleanupKey, ACutTextIsAnErrorThatNamesTheAttribute) {
    TestKit::expectEveryCutNamesItsAttribute(
        {{"", "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {"},
         {"", "'intfId': "},
         {"intfId", "'Ethernet1'"},
         {"", ", 'af': "},
         {"af", "'IPv4'"},
         {"", "})"}},
        parse);
}

TEST(IntfCleanupKey, AMalformedAttributeIsAnErrorThatNamesIt) {
    auto const reading = [](std::string const& intfId, std::string const& af) {
        std::string const text =
            "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupKey', ** {'intfId': " + intfId +
            ", 'af': " + af + "})";
        return [text] { parse(text); };
    };
    auto const failsIn = [](char const* attribute) {
        return ::testing::Throws<Zin::ParseError>(
            ::testing::Property(&Zin::ParseError::attribute, attribute));
    };

    EXPECT_NO_THROW(reading("'Ethernet1'", "'IPv4'")());
    EXPECT_THAT(reading("Ethernet1", "'IPv4'"), failsIn("intfId"));
    EXPECT_THAT(reading("'Ethernet1'", "'ipv4'"), failsIn("af"));
    EXPECT_THAT(reading("'Ethernet1'", "1"), failsIn("af"));
    EXPECT_THAT([] { parse(print({}) + " "); }, failsIn(""));
}

TEST(IntfCleanupKey, ADamagedTextIsAnErrorOrAnotherKey) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return randomKey(random); });
}

}  // namespace
}  // namespace IpLib::IntfAddrVrfTableImpl
