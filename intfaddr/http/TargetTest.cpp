#include "intfaddr/http/Target.h"

#include <gtest/gtest.h>

#include <random>

namespace IntfAddr {
namespace {

using Segments = std::vector<std::string>;
using Query = std::vector<std::pair<std::string, std::string>>;

std::string errorOf(std::string_view text) {
    try {
        readTarget(text);
        return "";
    } catch (TargetError const& error) {
        return error.what();
    }
}

TEST(Target, HasTheSegmentsOfItsPath) {
    EXPECT_EQ(readTarget("/").segments, Segments{});
    EXPECT_EQ(readTarget("/a").segments, Segments{"a"});
    EXPECT_EQ(readTarget("/a/bc").segments, (Segments{"a", "bc"}));
    EXPECT_EQ(readTarget("/a//b/").segments, (Segments{"a", "", "b", ""}));
    EXPECT_EQ(readTarget("/a/..").segments, (Segments{"a", ".."}));
}

TEST(Target, HasTheParametersOfItsQueryInTheirOrder) {
    EXPECT_EQ(readTarget("/a?").query, Query{});
    EXPECT_EQ(readTarget("/a?x=1&y&x=2=3&&z=").query,
              (Query{{"x", "1"}, {"y", ""}, {"x", "2=3"}, {"z", ""}}));
    EXPECT_EQ(readTarget("/a?b/c?d").query, (Query{{"b/c?d", ""}}));
    EXPECT_EQ(readTarget("/a?b/c?d").segments, Segments{"a"});
}

TEST(Target, DecodesEachOfThemByItself) {
    EXPECT_EQ(readTarget("/a%2Fb/%3f").segments, (Segments{"a/b", "?"}));
    EXPECT_EQ(readTarget("/?%3d=%26&a+b=%C3%a4").query, (Query{{"=", "&"}, {"a+b", "\xC3\xA4"}}));
    EXPECT_EQ(readTarget("/%00").segments, Segments{std::string(1, '\0')});
}

TEST(Target, SaysNothingOfItsHost) {
    EXPECT_EQ(readTarget("http://host/a?b").segments, Segments{"a"});
    EXPECT_EQ(readTarget("http://host").segments, Segments{});
    EXPECT_EQ(readTarget("http://host?b").query, (Query{{"b", ""}}));
}

TEST(Target, WhatCannotBeReadIsNamed) {
    EXPECT_EQ(errorOf("/a%zz"),
              "the target has '%zz', where two hexadecimal digits have to follow the '%'");
    EXPECT_NE(errorOf("/a%4"), "");
    EXPECT_NE(errorOf("/a%"), "");
    EXPECT_NE(errorOf("/%-1"), "");
    EXPECT_NE(errorOf("/?a=%f"), "");
    EXPECT_EQ(errorOf("a"), "the target 'a' does not begin with '/'");
    EXPECT_NE(errorOf("*"), "");
    EXPECT_NE(errorOf(""), "");
    EXPECT_EQ(errorOf("/\xff"), "the target has the byte 0xFF, which has to be written as %FF");
    EXPECT_NE(errorOf("/a b"), "");
    EXPECT_NE(errorOf("/a#b"), "");
    EXPECT_NE(errorOf("/\x7f"), "");
}

TEST(Target, IsWrittenWithWhatIsNotUnreservedEncoded) {
    EXPECT_EQ(target({}), "/");
    EXPECT_EQ(target({"a", "b/c", "2001:db8::1%eth0"}), "/a/b%2Fc/2001%3Adb8%3A%3A1%25eth0");
    EXPECT_EQ(target({"aZ0-._~"}, {{"x", "1&2"}, {"y=", ""}}), "/aZ0-._~?x=1%262&y%3D");
}

TEST(Target, IsReadAsItWasWritten) {
    std::mt19937 random(1);  // NOLINT: the same in every run
    auto const text = [&random](std::size_t shortest) {
        std::string bytes(shortest + random() % 4, ' ');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        return bytes;
    };
    for (int tried = 0; tried < 1000; ++tried) {
        Target written;
        for (auto left = random() % 4; left > 0; --left) {
            written.segments.push_back(text(1));
            written.query.emplace_back(text(1), text(0));
        }
        EXPECT_EQ(readTarget(target(written.segments, written.query)), written);
    }
}

TEST(Target, HasAHostInItsAbsoluteForm) {
    EXPECT_EQ(hostOf("http://a:80/b"), "a:80");
    EXPECT_EQ(hostOf("http://a?b=/c"), "a");
    EXPECT_EQ(hostOf("http:///b"), "");
    EXPECT_EQ(hostOf("/http://a/b"), std::nullopt);
}

}  // namespace
}  // namespace IntfAddr
