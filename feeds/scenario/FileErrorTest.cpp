#include "feeds/scenario/FileError.h"

#include <gtest/gtest.h>

namespace Scenario {
namespace {

TEST(FileError, AShortTextStaysWhole) {
    EXPECT_EQ(shortened("12345", 5), "12345");
    EXPECT_EQ(shortened("", 5), "");
}

TEST(FileError, ALongTextIsCut) { EXPECT_EQ(shortened("123456", 5), "12345..."); }

TEST(FileError, CharactersStayWhole) {
    EXPECT_EQ(shortened("123\xe2\x82\xac"
                        "4",
                        5),
              "123...");
    EXPECT_EQ(shortened("12\xe2\x82\xac"
                        "4",
                        5),
              "12\xe2\x82\xac...");
}

}  // namespace
}  // namespace Scenario
