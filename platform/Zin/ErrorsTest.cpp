#include "Zin/Errors.h"

#include <gtest/gtest.h>

namespace Zin {
namespace {

TEST(Errors, NameTheAttributeOfANullArgument) {
    NullArgumentError const error("intfAddrEntry");
    EXPECT_EQ(error.attribute(), "intfAddrEntry");
    EXPECT_STREQ(error.what(), "null mutator argument for attribute 'intfAddrEntry'");
}

TEST(Errors, NameTheAttributeThatExistsWithOtherArguments) {
    ReinstantiationError const error("vrf");
    EXPECT_EQ(error.attribute(), "vrf");
    EXPECT_STREQ(error.what(), "'vrf' exists with other constructor arguments");
}

TEST(Errors, SayWhereATextIsMalformedAndWhatWasExpected) {
    ParseError const error("delay", 12, "a number");
    EXPECT_EQ(error.attribute(), "delay");
    EXPECT_EQ(error.offset(), 12u);
    EXPECT_EQ(error.expected(), "a number");
    EXPECT_STREQ(error.what(), "malformed text of 'delay' at byte 12: expected a number");

    EXPECT_STREQ(ParseError("", 0, "IPv4 or IPv6").what(),
                 "malformed text at byte 0: expected IPv4 or IPv6");
}

TEST(Errors, AreAllCaughtAsTheFrameworksError) {
    EXPECT_THROW(throw RangeError("too long"), Error);
    EXPECT_THROW(throw NullArgumentError("a"), Error);
    EXPECT_THROW(throw ReinstantiationError("a"), Error);
    EXPECT_THROW(throw ParseError("a", 0, "b"), Error);
}

}  // namespace
}  // namespace Zin
