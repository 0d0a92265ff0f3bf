#include "intfaddr/answer/ObjectText.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

TEST(ObjectText, IsWhatAValueWithTheSameMembersIsWrittenAs) {
    Json value;
    value["text"] = "Ethernet1";
    value["empty"] = "";
    value["word"] = "10.0.0.1/24";
    value["number"] = 4'294'967'296;
    value["yes"] = true;
    value["no"] = false;
    value["nothing"] = nullptr;
    value["list"] = {1, 2};
    value["object"]["inner"] = 0;

    std::string text = "before";
    ObjectText object(text);
    object.text("text", "Ethernet1")
        .text("empty", "")
        .word("word", "10.0.0.1/24")
        .number("number", 4'294'967'296)
        .flag("yes", true)
        .flag("no", false)
        .null("nothing")
        .json("list", value["list"]);
    ObjectText(object.open("object")).number("inner", 0).end();
    object.end();

    EXPECT_EQ(text, "before" + toLine(value));
}

TEST(ObjectText, MayBeLong) {
    std::string const longer(5'000, 'x');
    std::string text;
    ObjectText(text).text("a", longer).text("b", longer).end();
    EXPECT_EQ(text, toLine(Json{{"a", longer}, {"b", longer}}));
}

TEST(ObjectText, WithoutMembersIsAnObjectToo) {
    std::string text;
    ObjectText(text).end();
    EXPECT_EQ(text, "{}");
}

// Each byte alone, where it may be escaped or be replaced, and within other text; and characters of
// several bytes, whole and broken.
TEST(ObjectText, TextsAreEscapedAndReplacedAsInValues) {
    std::vector<std::string> texts{"\xc3\xa9t\xc3\xa9", "a\xc3", "\xed\xa0\x80", "\xf0\x9f\x98\x80",
                                   "\"\\/\xff\""};
    for (int byte = 0; byte < 256; ++byte) {
        texts.emplace_back(1, static_cast<char>(byte));
        texts.push_back("a" + texts.back() + "b");
    }
    for (auto const& one : texts) {
        std::string text;
        ObjectText(text).text("text", one).end();
        EXPECT_EQ(text, toLine(Json{{"text", one}}));
    }
}

}  // namespace
}  // namespace IntfAddr
