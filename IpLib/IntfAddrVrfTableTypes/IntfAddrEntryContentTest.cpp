#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"

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

using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;

using Content = IntfAddrEntryContent;

Content const onEthernet1{IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.1.1.1")), "Ethernet1",
                          Nimb::IpGenPrefix("10.1.1.0/24")};

Content parse(std::string_view text) { return Zin::strepToValue<Content>(text); }
std::string print(Content const& content) { return content.toStrep(); }

TEST(IntfAddrEntryContent, TheDefaultIsOfNoAddressNoInterfaceAndNoSubnet) {
    Content const content;

    EXPECT_EQ(content.key, IntfAddrEntryKey());
    EXPECT_TRUE(content.intfId.empty());
    EXPECT_EQ(content.subnet.family(), Nimb::AddressFamily::unset);
}

TEST(IntfAddrEntryContent, ContentsThatDifferInTheInterfaceOnlyPrintAlikeAndOrderByIt) {
    Content onEthernet2 = onEthernet1;
    onEthernet2.intfId = "Ethernet2";

    EXPECT_EQ(onEthernet1.toStrep(), onEthernet2.toStrep());
    EXPECT_NE(onEthernet1, onEthernet2);
    EXPECT_LT(onEthernet1, onEthernet2);
    EXPECT_FALSE(onEthernet2 < onEthernet1);
}

TEST(IntfAddrEntryContent, SortsByKeyThenInterfaceThenSubnet) {
    auto const image = [](Content const& content) {
        auto const& [key, intfId, subnet] = content;
        return std::tuple(std::string(key.intfId.name()), static_cast<int>(key.addr.family()),
                          key.addr.bytes(), key.virtualIp, std::string(intfId.name()),
                          static_cast<int>(subnet.family()), subnet.address().bytes(),
                          subnet.prefixLength());
    };
    TestKit::RandomValues random;
    Content const pool[] = {random.content(), random.content(), random.content()};
    // Contents that share each of their fields often.
    TestKit::expectOrderOf(image, [&] {
        return Content{pool[random.below(3)].key, pool[random.below(3)].intfId,
                       pool[random.below(3)].subnet};
    });
    TestKit::expectOrderOf(image, [&] {
        return Content{{{}, random.addr(), random.flip()}, "Ethernet1", {}};
    });
}

TEST(IntfAddrEntryContent, HashesItsKeyWithSeedZeroThenItsInterfaceThenItsSubnet) {
    TestKit::RandomValues random;
    for (int i = 0; i < 10000; ++i) {
        Content const content = random.content();
        auto const seed = static_cast<std::uint32_t>(random.below(1U << 31));
        Zin::Hash stated(seed);
        stated.mix4(content.key.hash(0));
        stated.mix4(content.intfId.hash());
        stated.mix4(TestKit::prefixHash(content.subnet.address(), content.subnet.prefixLength()));

        ASSERT_EQ(content.hash(seed), stated.finish()) << content;
    }
    // Worked out apart from this program.
    EXPECT_EQ(TestKit::prefixHash(Nimb::IpGenAddr("10.1.1.0"), 24), 0x82dbcc55U);
}

TEST(IntfAddrEntryContent, HasNoCostlyFamily) {
    Nimb::expectNoCostlyNamedFamily<3>([](auto const& input) {
        Nimb::IpGenAddr const addr =
            Nimb::Ip6Addr(std::bit_cast<Nimb::Ip6Bytes>(std::array{input[1], input[2]}));
        return Content{IntfAddrEntryKey::makeIpKey(addr), Zin::textOf(Zin::HashInput<1>{input[0]}),
                       Nimb::IpGenPrefix(addr, 64)};
    });
}

TEST(IntfAddrEntryContent, StandsInContainersOfTheStandardLibrary) {
    std::unordered_set<Content> const contents{Content(), onEthernet1, onEthernet1};
    EXPECT_EQ(contents.size(), 2U);
}

TEST(IntfAddrEntryContent, ASubnetOfNoFamilyHashesAsZero) {
    Content const content{IntfAddrEntryKey::makeVirtualIpKey(Nimb::IpGenAddr("10.1.1.1")), "", {}};

    EXPECT_EQ(content.hash(7),
              Zin::Hash(7).mix4(content.key.hash(0)).mix4(Nimb::IntfId().hash()).mix4(0).finish());
}

TEST(IntfAddrEntryContent, PrintsItsKeyAndItsSubnetInItsShortForm) {
    EXPECT_EQ(Content().toStrep(), "intfId=;addr=;virtualIp=false;subnet=");
    EXPECT_EQ(onEthernet1.toStrep(), "intfId=;addr=10.1.1.1;virtualIp=false;subnet=10.1.1.0/24");
    std::ostringstream out;
    out << Content{IntfAddrEntryKey::makeLlKey(Nimb::IpGenAddr("fe80::1"), "Ethernet1"),
                   "Ethernet1", Nimb::IpGenPrefix("fe80::/64")};
    EXPECT_EQ(out.str(), "intfId=Ethernet1;addr=fe80::1;virtualIp=false;subnet=fe80::/64");
}

TEST(IntfAddrEntryContent, NestsTheReflectiveFormOfItsKeyInItsOwn) {
    EXPECT_EQ(valueToStrep(onEthernet1),
              "Value('IpLib::IntfAddrEntryContent', ** {'key': "
              "Value('IpLib::IntfAddrEntryKey', ** {'intfId': '', 'addr': '10.1.1.1', "
              "'virtualIp': false}), 'intfId': 'Ethernet1', 'subnet': '10.1.1.0/24'})");
}

TEST(IntfAddrEntryContent, ReadsBackAsOnTheInterfaceOfItsKey) {
    EXPECT_EQ(parse(print(onEthernet1)), (Content{onEthernet1.key, "", onEthernet1.subnet}));
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] {
        Content content = random.content();
        content.intfId = content.key.intfId;
        return content;
    });
}

TEST(IntfAddrEntryContent, AMalformedFieldIsAnErrorThatNamesIt) {
    auto const reading = [](char const* text) { return [text] { parse(text); }; };
    auto const failsIn = [](char const* attribute) {
        return Throws<Zin::ParseError>(Property(&Zin::ParseError::attribute, StrEq(attribute)));
    };

    EXPECT_THAT(reading("intfId=;addr=10.1.1.1;virtualIp=false"), failsIn(""));
    EXPECT_THAT(reading("intfId=;addr=10.1.1;virtualIp=false;subnet=10.1.1.0/24"), failsIn("addr"));
    EXPECT_THAT(reading("intfId=;addr=10.1.1.1;virtualIp=no;subnet=10.1.1.0/24"),
                failsIn("virtualIp"));
    EXPECT_THAT(reading("intfId=;addr=10.1.1.1;virtualIp=false;subnet=10.1.1.1/24"),
                failsIn("subnet"));
    EXPECT_THAT(reading("intfId=;addr=10.1.1.1;virtualIp=false;subnet=10.1.1.0/24 "),
                failsIn("subnet"));
    EXPECT_THAT(reading("intfId=;addr=10.1.1.1;virtualIp=false;subnet=10.1.1.0/33"),
                failsIn("subnet"));
}

TEST(IntfAddrEntryContent, ACutTextIsAnErrorUnlessItEndsBeforeTheSubnet) {
    auto const parseSet = [](std::string_view text) {
        Content const content = parse(text);
        if (text.ends_with(";subnet=") && content.subnet == Nimb::IpGenPrefix()) {
            throw Zin::ParseError("subnet", text.size(), "a subnet");
        }
    };
    TestKit::expectEveryCutNamesItsAttribute(
        {{"", "intfId=Ethernet1;addr=10.1.1.1;virtualIp=true;subnet="}, {"subnet", "10.1.1.0/24"}},
        parseSet);
}

TEST(IntfAddrEntryContent, ADamagedTextIsAnErrorOrAnotherContent) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return random.content(); });
}

}  // namespace
}  // namespace IpLib
