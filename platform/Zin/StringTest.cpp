#include "Zin/String.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Zin {
namespace {

using ::testing::Property;
using ::testing::StrEq;
using ::testing::Throws;

// A type over a text that names its limit by its number.
class ColourName : public StringValue<ColourName, 6> {
public:
    ColourName() = default;
    explicit ColourName(std::string_view name) : StringValue(name, "6") {}
};

TEST(String, DefaultIsEmpty) {
    EXPECT_TRUE(String().empty());
    EXPECT_EQ(String(), String(""));
}

TEST(String, ComparesByUnsignedBytes) {
    EXPECT_EQ(String("red"), String("red"));
    EXPECT_NE(String("red"), String("blue"));
    EXPECT_LT(String(""), String("a"));
    EXPECT_LT(String("a"), String("aa"));
    EXPECT_LT(String("z"), String("\xc3\xa9"));
}

TEST(String, HoldsAnyBytes) {
    std::string const bytes("a\0b", 3);

    EXPECT_EQ(String(bytes).bytes(), bytes);
    EXPECT_NE(String(bytes), String("a"));
}

TEST(String, EqualStringsHashAlike) {
    EXPECT_EQ(String("red").hash(5), String(std::string("red")).hash(5));
    EXPECT_NE(String("red").hash(5), String("blue").hash(5));
    EXPECT_NE(String("red").hash(5), String("red").hash(6));
}

TEST(String, PrintsAsItIs) {
    std::ostringstream out;
    out << String("it's");

    EXPECT_EQ(out.str(), "it's");
    EXPECT_EQ(String("it's").toStrep(), "it's");
    EXPECT_EQ(fmt::format("[{:>6}]", String("it's")), "[  it's]");
    EXPECT_EQ(valueToStrep(String("it's")), "'it\\'s'");
}

TEST(String, ReadsBackFromBothForms) {
    std::string const nasty("'\\;=\x01\x7f\xff\n", 8);
    String const string(nasty);

    EXPECT_EQ(strepToValue<String>(string.toStrep()), string);
    std::string const reflective = valueToStrep(string);
    TextReader reader(reflective);
    EXPECT_EQ(reader.read<String>("name"), string);
    EXPECT_NO_THROW(reader.end());
}

TEST(BoundedString, TakesAsManyBytesAsItsLimit) {
    EXPECT_EQ(BoundedString<3>("red").bytes(), "red");
    EXPECT_EQ(BoundedString<3>::maxLength(), 3U);
}

TEST(BoundedString, ALongerTextIsARangeError) {
    EXPECT_THAT([] { BoundedString<3>("blue"); },
                Throws<RangeError>(Property(
                    &RangeError::what, StrEq("Zin::String::bytes > maxLength() not allowed"))));
}

TEST(StringValue, ATypeMayNameItsLimitByItsNumber) {
    EXPECT_EQ(ColourName("orange").bytes(), "orange");
    EXPECT_THAT([] { ColourName("magenta"); },
                Throws<RangeError>(
                    Property(&RangeError::what, StrEq("Zin::String::bytes > 6 not allowed"))));
}

}  // namespace
}  // namespace Zin
