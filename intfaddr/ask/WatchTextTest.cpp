#include "intfaddr/ask/WatchText.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

Json row(char const* intf, bool present) {
    return {{"vrf", "default"},   {"interface", intf}, {"address", "10.0.0.1"},
            {"prefixLength", 24}, {"virtual", false},  {"subnet", "10.0.0.0/24"},
            {"present", present}};
}

TEST(WatchText, RowsComeAndGoInColumns) {
    EXPECT_EQ(watchText(row("eth0", true)),
              "+  default     10.0.0.1/24               eth0              10.0.0.0/24\n");
    EXPECT_EQ(watchText(row("a\nb", false)),
              "-  default     10.0.0.1/24               a?b               10.0.0.0/24\n");
    Json virtualRow = row("eth0", true);
    virtualRow.update({{"virtual", true}, {"interface", nullptr}, {"subnet", nullptr}});
    EXPECT_EQ(watchText(virtualRow),
              "+  default     10.0.0.1/24               -                 virtual\n");
}

TEST(WatchText, WhatIsSaidOfTheStreamIsNoRow) {
    EXPECT_EQ(watchText({{"begin", "table"}}), "# begin table\n");
    EXPECT_EQ(watchText({{"begin", "anew"}, {"why", "a\x1b"}}), "# begin anew: a?\n");
    EXPECT_EQ(watchText({{"begin", "anew"}, {"why", "b"}, {"lost", 70}}),
              "# begin anew: b (70 changes are lost)\n");
    EXPECT_EQ(watchText({{"complete", true}}), "# complete\n");
}

}  // namespace
}  // namespace IntfAddr
