#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrWithMask.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "IpLib/IntfAddrVrfTableTypes/TestProperties.h"

namespace IpLib {
namespace {

using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;
using ::testing::ThrowsMessage;

IntfAddrWithMaskKey keyOf(char const* addrWithMask) {
    return {"Ethernet1", Nimb::IpGenAddrWithMask{std::string_view(addrWithMask)}};
}

IntfAddrWithMask randomRecord(TestKit::RandomValues& random) {
    IntfAddrWithMaskKey const key{random.intfId(), random.addrWithMask()};
    bool const canBeDeprecated =
        key.addrWithMask.family() == Nimb::AddressFamily::ipv6 && !key.isV6LinkLocal();
    return IntfAddrWithMask(key, canBeDeprecated && random.flip());
}

IntfAddrWithMask parse(std::string_view text) { return Zin::strepToValue<IntfAddrWithMask>(text); }
std::string print(IntfAddrWithMask const& record) { return valueToStrep(record); }

TEST(IntfAddrWithMask, HoldsItsKeyAndWhetherItIsDeprecated) {
    IntfAddrWithMask const record(keyOf("2001:db8::1/64"), true);

    EXPECT_EQ(record.key(), keyOf("2001:db8::1/64"));
    EXPECT_TRUE(record.deprecated());
    EXPECT_FALSE(IntfAddrWithMask(keyOf("2001:db8::1/64")).deprecated());
    EXPECT_EQ(record, IntfAddrWithMask(keyOf("2001:db8::1/64"), true));
    EXPECT_NE(record, IntfAddrWithMask(keyOf("2001:db8::1/64")));
    EXPECT_NE(record, IntfAddrWithMask(keyOf("2001:db8::1/65"), true));
}

TEST(IntfAddrWithMask, IsSetWhenItDiffersFromTheDefault) {
    EXPECT_FALSE(IntfAddrWithMask());
    EXPECT_FALSE(IntfAddrWithMask(IntfAddrWithMaskKey()));
    EXPECT_TRUE(IntfAddrWithMask({"Ethernet1", {}}));
    EXPECT_TRUE(IntfAddrWithMask({"", keyOf("0.0.0.0/0").addrWithMask}));
    EXPECT_TRUE(IntfAddrWithMask({"", keyOf("::/0").addrWithMask}));
}

TEST(IntfAddrWithMask, OnlyAnIpv6AddressCanBeDeprecated) {
    auto const deprecating = [](char const* addrWithMask) {
        return [addrWithMask] { IntfAddrWithMask(keyOf(addrWithMask), true); };
    };

    EXPECT_THAT(deprecating("10.0.0.1/24"),
                ThrowsMessage<Zin::RangeError>(StrEq("cannot deprecate non-IPv6 address")));
    EXPECT_THAT(deprecating(""),
                ThrowsMessage<Zin::RangeError>(StrEq("cannot deprecate non-IPv6 address")));
    EXPECT_NO_THROW(deprecating("2001:db8::1/64")());
    EXPECT_NO_THROW(deprecating("::ffff:10.0.0.1/128")());
}

TEST(IntfAddrWithMask, ALinkLocalAddressCannotBeDeprecated) {
    EXPECT_TRUE(IntfAddrWithMask(keyOf("fe80::1/64")).isV6LinkLocal());
    EXPECT_FALSE(IntfAddrWithMask(keyOf("2001:db8::1/64")).isV6LinkLocal());
    EXPECT_THAT([] { IntfAddrWithMask(keyOf("fe80::1/64"), true); },
                ThrowsMessage<Zin::RangeError>(StrEq("cannot deprecate IPv6 link-local address")));
}

TEST(IntfAddrWithMask, EveryAddressCanBePreferred) {
    for (char const* const addr : {"", "10.0.0.1/24", "fe80::1/64", "2001:db8::1/64"}) {
        EXPECT_NO_THROW(IntfAddrWithMask(keyOf(addr), false));
    }
}

TEST(IntfAddrWithMask, PrintsItsShortForm) {
    EXPECT_EQ(IntfAddrWithMask().toStrep(), "intfId=;addrWithMask=;deprecated=false");
    std::ostringstream out;
    out << IntfAddrWithMask(keyOf("2001:db8::1/64"), true);
    EXPECT_EQ(out.str(), "intfId=Ethernet1;addrWithMask=2001:db8::1/64;deprecated=true");
}

TEST(IntfAddrWithMask, PrintsItsReflectiveForm) {
    EXPECT_EQ(valueToStrep(IntfAddrWithMask(keyOf("2001:db8::1/64"), true)),
              "Value('IpLib::IntfAddrWithMask', ** {'key': Value('IpLib::IntfAddrWithMaskKey', ** "
              "{'intfId': 'Ethernet1', 'addrWithMask': '2001:db8::1/64'}), 'deprecated': true})");
}

TEST(IntfAddrWithMask, ItsReflectiveFormReadsBackWhateverTheInterfaceIsCalled) {
    TestKit::RandomValues random;
    TestKit::expectReadsBack(print, parse, [&] { return randomRecord(random); });
}

TEST(IntfAddrWithMask, ACutTextIsAnErrorThatNamesTheAttribute) {
    TestKit::expectEveryCutNamesItsAttribute({{"", "Value('IpLib::IntfAddrWithMask', ** {'key': "},
                                              {"key", "Value('IpLib::IntfAddrWithMaskKey', ** {"},
                                              {"key", "'intfId': "},
                                              {"intfId", "'Ethernet1'"},
                                              {"key", ", 'addrWithMask': "},
                                              {"addrWithMask", "'2001:db8::1/64'"},
                                              {"key", "})"},
                                              {"", ", 'deprecated': "},
                                              {"deprecated", "true"},
                                              {"", "})"}},
                                             parse);
}

TEST(IntfAddrWithMask, ReadingRefusesWhatIsMalformedAndWhatCannotBe) {
    auto const reading = [](std::string addrWithMask, std::string deprecated) {
        std::string const text =
            "Value('IpLib::IntfAddrWithMask', ** {'key': Value('IpLib::IntfAddrWithMaskKey', ** "
            "{'intfId': '', 'addrWithMask': '" +
            std::move(addrWithMask) + "'}), 'deprecated': " + std::move(deprecated) + "})";
        return [text] { parse(text); };
    };
    auto const failsIn = [](char const* attribute) {
        return Throws<Zin::ParseError>(Property(&Zin::ParseError::attribute, attribute));
    };

    EXPECT_NO_THROW(reading("10.0.0.1/24", "false")());
    EXPECT_THAT(reading("10.0.0.1/24", "False"), failsIn("deprecated"));
    EXPECT_THAT(reading("10.0.0.1/24", "0"), failsIn("deprecated"));
    EXPECT_THAT(reading("10.0.0.1", "false"), failsIn("addrWithMask"));
    EXPECT_THAT(reading("10.0.0.1/24", "true"),
                ThrowsMessage<Zin::RangeError>(StrEq("cannot deprecate non-IPv6 address")));
    EXPECT_THAT(reading("fe80::1/64", "true"),
                ThrowsMessage<Zin::RangeError>(StrEq("cannot deprecate IPv6 link-local address")));
}

TEST(IntfAddrWithMask, ADamagedTextIsAnErrorOrAnotherRecord) {
    TestKit::RandomValues random;
    TestKit::expectDamageIsNoticed(print, parse, [&] { return randomRecord(random); });
}

}  // namespace
}  // namespace IpLib
