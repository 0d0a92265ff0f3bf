#include "feeds/scenario/Fields.h"

#include <gmock/gmock.h>

#include <functional>

#include "Nimb/IpAddrWithMask.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

Fields fields(char const* json) {
    static std::vector<Field> const syntax{{"vrf"}, optional("n", "7"), optional("x")};
    return Fields(readObject(json), syntax);
}

// Of one field "x".
Fields x(std::string const& json) {
    static std::vector<Field> const syntax{{"x"}};
    return Fields(readObject("{\"x\":" + json + "}"), syntax);
}

void expectRefusal(std::function<void()> const& use, char const* why) {
    EXPECT_THAT(use, ThrowsMessage<LineError>(HasSubstr(why)));
}

TEST(Fields, AnAbsentFieldHasItsDefault) {
    auto const given = fields(R"({"vrf":"red"})");
    EXPECT_EQ(given.vrf(), L3::VrfName("red"));
    EXPECT_EQ(given.count("n"), 7U);
    EXPECT_FALSE(given.has("x"));
}

TEST(Fields, MissingAndUnknownFieldsAreNamed) {
    expectRefusal([] { fields(R"({"n":1})"); }, "field 'vrf' is missing");
    expectRefusal([] { fields(R"({"vrf":"red","y":1})"); }, "unknown field 'y'");
}

TEST(Fields, AreOfTheTypeThatIsAskedFor) {
    EXPECT_EQ(x(R"("a")").text("x"), "a");
    EXPECT_EQ(x("true").flag("x"), true);
    EXPECT_EQ(x("-1.5").number("x"), -1.5);
    EXPECT_EQ(x("2").number("x"), 2.0);
    EXPECT_EQ(x("4294967295").count("x"), 4294967295U);
    EXPECT_EQ(x(R"("eth0")").intf("x"), Nimb::IntfId("eth0"));

    expectRefusal([] { x("1").text("x"); }, "field 'x': expected a text, found 1");
    expectRefusal([] { x("0").flag("x"); }, "field 'x': expected true or false, found 0");
    expectRefusal([] { x("\"1\"").number("x"); }, "field 'x': expected a number, found \"1\"");
    expectRefusal([] { x("null").number("x"); }, "field 'x': expected a number, found null");
    expectRefusal([] { x("{}").list("x"); }, "field 'x': expected a list, found {}");
    expectRefusal([] { x("[]").object("x"); }, "field 'x': expected an object, found []");
}

TEST(Fields, CountsAreIntegersInRange) {
    EXPECT_EQ(x("255").count("x", 255), 255U);
    EXPECT_EQ(x("-0").count("x", 255), 0U);
    char const* const why = "field 'x': expected an integer from 0 to 255, found ";
    for (char const* value : {"256", "-1", "1.5", "2.0", "-0.0", "18446744073709551615", "true"}) {
        expectRefusal([value] { x(value).count("x", 255); }, why);
    }
}

TEST(Fields, ValuesAreReadFromTheirTextForm) {
    auto const read = [](char const* json) {
        return x(json).value<Nimb::IpAddrWithMask>("x", "an address");
    };
    EXPECT_EQ(read(R"("10.0.0.1/8")"), Nimb::IpAddrWithMask("10.0.0.1/8"));
    expectRefusal([&] { read(R"("10.0.0.1/33")"); },
                  "field 'x': '10.0.0.1/33' is not an address: malformed text at byte 9");
    expectRefusal([&] { read("1"); }, "field 'x': expected a text, found 1");

    auto const readList = [](char const* json) {
        return x(json).values<Nimb::IpAddrWithMask>("x", "an address");
    };
    EXPECT_THAT(
        readList(R"(["10.0.0.1/8","10.0.0.2/8"])"),
        ElementsAre(Nimb::IpAddrWithMask("10.0.0.1/8"), Nimb::IpAddrWithMask("10.0.0.2/8")));
    expectRefusal([&] { readList(R"(["10.0.0.1/8",2])"); },
                  "field 'x': expected a list of texts, found 2");
    expectRefusal([&] { readList(R"(["10"])"); }, "'10' is not an address");
}

TEST(Fields, ThoseOfObjectsInAListAreNamedWithTheirPlace) {
    static std::vector<Field> const syntax{{"addr"}, optional("deprecated", "false")};
    auto const objects = x(R"([{"addr":"a"},{"addr":"b","deprecated":true}])").objects("x", syntax);
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_FALSE(objects[0].flag("deprecated"));
    EXPECT_TRUE(objects[1].flag("deprecated"));

    expectRefusal([] { x(R"([{"addr":"a"},{}])").objects("x", syntax); },
                  "field 'x[1].addr' is missing");
    expectRefusal([] { x(R"([{"addr":"a","y":1}])").objects("x", syntax); },
                  "unknown field 'x[0].y'");
    expectRefusal([] { x("[3]").objects("x", syntax); },
                  "field 'x': expected a list of objects, found 3");
}

TEST(Fields, LongValuesAreCutInMessages) {
    std::string const longText = "\"" + std::string(10'000, 'x') + "\"";
    try {
        x(longText).number("x");
        ADD_FAILURE() << "not refused";
    } catch (LineError const& error) {
        EXPECT_LT(std::string(error.what()).size(), 200U);
    }
}

TEST(Fields, TheSyntaxCanBeShown) {
    EXPECT_EQ(toText({{"vrf"}, optional("active", "true"), optional("deviceName")}),
              "vrf, [active true], [deviceName]");
    EXPECT_EQ(toText({}), "");
}

}  // namespace
}  // namespace Scenario
