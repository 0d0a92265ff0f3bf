#include "intfaddr/ask/RehearsalText.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

Json change(double at, bool present) {
    return {{"at", at},           {"present", present},      {"vrf", "default"},
            {"virtual", false},   {"interface", "eth0\x1b"}, {"address", "10.0.0.1"},
            {"prefixLength", 24}, {"subnet", "10.0.0.0/24"}};
}

TEST(RehearsalText, WhatWouldComeIsSaidWithItsTimes) {
    Json const answer{{"changes", Json::array({change(0.0, false), change(12.5, true)})},
                      {"remarks", Json::array({"after 1.0 s a remark"})}};
    EXPECT_EQ(whatIfText(answer),
              "  after    0.0 s  -  default     10.0.0.1/24               eth0?             "
              "10.0.0.0/24\n"
              "  after   12.5 s  +  default     10.0.0.1/24               eth0?             "
              "10.0.0.0/24\n"
              "  after 1.0 s a remark\n");
}

TEST(RehearsalText, WhereNothingWouldComeThatIsSaid) {
    Json answer{{"changes", Json::array()}, {"remarks", Json::array()}};
    EXPECT_EQ(whatIfText(answer), "No row would come or go.\n");

    answer["already"] = false;
    answer["sentence"] = "It waits.";
    answer["reasons"] = Json::array({"So it is."});
    EXPECT_EQ(whyNotText(answer),
              "If it were configured now:\nIt waits.\n  - So it is.\nNo row would come or go.\n");
    answer["already"] = true;
    answer["changes"] = Json::array({change(0.0, true)});
    EXPECT_TRUE(whyNotText(answer).starts_with("It is configured already:\nIt waits.\n"));
}

}  // namespace
}  // namespace IntfAddr
