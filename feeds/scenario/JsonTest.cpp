#include "feeds/scenario/Json.h"

#include <gmock/gmock.h>

#include <string>

#include "feeds/scenario/FileError.h"

namespace Scenario {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

void expectRefusal(std::string const& text, std::string const& why) {
    EXPECT_THAT([&] { readObject(text); }, ThrowsMessage<LineError>(HasSubstr(why))) << text;
}

std::string nested(std::size_t depth) {
    return R"({"a":)" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

TEST(Json, ReadsAnObject) {
    auto const object = readObject(" {\"b\": [1, {\"b\": 2.5}], \"a\": \"\\u00e9\"}\r");
    EXPECT_EQ(object.dump(), "{\"a\":\"\xc3\xa9\",\"b\":[1,{\"b\":2.5}]}");
}

TEST(Json, RefusesWhatIsNoObject) {
    expectRefusal("[1]", "not an object: [1]");
    expectRefusal("12", "not an object: 12");
    expectRefusal("nonsense", "not a JSON text: column 2");
    expectRefusal("", "not a JSON text");
    expectRefusal(R"({"a":1)", "unexpected end of input; expected '}'");
    expectRefusal(R"({"a":1} {})", "not a JSON text: column 9");
    expectRefusal(R"({"a":NaN})", "not a JSON text");
}

TEST(Json, RefusesWhatIsNotUtf8) {
    expectRefusal("{\"a\":\"\xff\"}", "ill-formed UTF-8 byte");
    expectRefusal("{\"a\":\"\xc0\x80\"}", "ill-formed UTF-8 byte");
    expectRefusal(R"({"a":"\ud800"})", "surrogate");
}

TEST(Json, QuotesNoBytesThatMayNotBeUtf8) {
    EXPECT_THAT([] { readObject("{\"\xff\":1}"); },
                ThrowsMessage<LineError>(testing::AllOf(
                    Not(HasSubstr("\xff")), HasSubstr("byte; expected string literal"))));
}

TEST(Json, RefusesZeroBytes) {
    expectRefusal(std::string("{}\0{}", 5), "zero byte");
    expectRefusal(std::string("\0", 1), "zero byte");
}

TEST(Json, RefusesAByteOrderMark) {
    expectRefusal("\xef\xbb\xbf{}", "byte order mark");
    expectRefusal("\xef\xbb\xbf# a comment", "byte order mark");
}

TEST(Json, RefusesNumbersThatNoDoubleHolds) {
    expectRefusal(R"({"a":1e400})", "number overflow");
    EXPECT_EQ(readObject(R"({"a":1e308})")["a"], 1e308);
}

TEST(Json, RefusesAMemberThatIsThereTwice) {
    expectRefusal(R"({"op":"a","at":1,"op":"b"})", "member 'op' is there twice");
    expectRefusal(R"({"a":[{"b":1,"b":1}]})", "member 'b' is there twice");
    expectRefusal(R"({"\u0061":1,"a":1})", "member 'a' is there twice");
    EXPECT_EQ(readObject(R"({"a":{"b":1},"b":{"a":1}})").size(), 2U);
}

TEST(Json, RefusesDeepNesting) {
    EXPECT_NO_THROW(readObject(nested(maxDepth)));
    expectRefusal(nested(maxDepth + 1), "nested deeper than 8 levels");
    expectRefusal(std::string(1 << 20, '['), "nested deeper than 8 levels");
}

TEST(Json, MessagesAreShort) {
    try {
        readObject("[\"" + std::string(100'000, 'x') + "\"]");
        ADD_FAILURE() << "not refused";
    } catch (LineError const& error) {
        EXPECT_LT(std::string(error.what()).size(), 200U);
    }
}

}  // namespace
}  // namespace Scenario
