#include "intfaddr/ask/Printable.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

TEST(Printable, ControlCharactersOfAsciiAreReplaced) {
    EXPECT_EQ(printable("a\x1b[2J\n\x7f z~"), "a?[2J?? z~");
}

TEST(Printable, ControlCharactersOfTheC1SetAreReplaced) {
    EXPECT_EQ(printable("a\xc2\x80z\xc2\x9f"), "a?z?");
}

TEST(Printable, OtherCharactersStay) {
    EXPECT_EQ(printable("\xc2\xa0\xc3\x80\xff\xc2"), "\xc2\xa0\xc3\x80\xff\xc2");
    EXPECT_EQ(printable(""), "");
}

}  // namespace
}  // namespace IntfAddr
