#include "intfaddr/ask/TextTable.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

TEST(TextTable, ItsColumnsLineUp) {
    TextTable table({"VRF", "ADDRESS", "WHY"});
    table.add({"default", "10.0.0.1", ""});
    table.add({"r", "2001:db8::1", "late"});

    EXPECT_EQ(table.text(),
              "VRF      ADDRESS      WHY\n"
              "default  10.0.0.1\n"
              "r        2001:db8::1  late\n");
}

TEST(TextTable, WhateverTheAlphabet) {
    TextTable table({"VRF", "X"});
    table.add({"gr\xc3\xbcn", "1"});               // 4 columns, 5 bytes
    table.add({"\xe7\xb6\xb2\xe8\xb7\xaf", "2"});  // 4 columns, 6 bytes
    table.add({"\x1b[m", "3"});

    EXPECT_EQ(table.text(),
              "VRF   X\n"
              "gr\xc3\xbcn  1\n"
              "\xe7\xb6\xb2\xe8\xb7\xaf  2\n"
              "?[m   3\n");
}

TEST(TextTable, WithoutLinesThereIsNoHeader) { EXPECT_EQ(TextTable({"VRF"}).text(), ""); }

TEST(TextTable, ColumnsAtItsEndThatHaveNoTextAreLeftOut) {
    TextTable table({"A", "B", "C"});
    table.add({"", "", ""});

    EXPECT_EQ(table.text(), "A\n\n");
}

}  // namespace
}  // namespace IntfAddr
