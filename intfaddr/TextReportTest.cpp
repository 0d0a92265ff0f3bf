#include "intfaddr/TextReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "intfaddr/TestReport.h"

namespace IntfAddr {
namespace {

TEST(TextReport, ListsRowsAndBelowThemWhatWaits) {
    EXPECT_EQ(toText(everyKind()),
              "VRF      ADDRESS         INTERFACE  SUBNET         FLAGS\n"
              "default  192.0.2.2/24    eth0       192.0.2.0/24\n"
              "default  192.0.2.9/32    -          -              virtual\n"
              "default  2001:db8::1/64  eth0       2001:db8::/64  deprecated\n"
              "default  fe80::1/64      eth0       fe80::/64      link-local\n"
              "default  fe80::9/128     -          -              link-local,virtual\n"
              "\n"
              "VRF      DEFERRED        INTERFACE  WAITS FOR\n"
              "default  192.0.2.3/24    eth1       192.0.2.0/24 on eth0\n"
              "default  2001:db8::2/64  eth1       the next try\n");
}

TEST(TextReport, WhereNothingWaitsThereIsOneTable) {
    EXPECT_EQ(toText({{.vrf = "default", .rows = {row("10.0.0.1/8", "lo")}, .deferred = {}}}),
              "VRF      ADDRESS     INTERFACE  SUBNET      FLAGS\n"
              "default  10.0.0.1/8  lo         10.0.0.0/8\n");
}

TEST(TextReport, NamesCannotCommandTheTerminal) {
    auto const text =
        toText({{.vrf = "r\ned", .rows = {row("10.0.0.1/8", "a\x1b[2J")}, .deferred = {}}});

    EXPECT_THAT(text, testing::HasSubstr("\nr?ed  10.0.0.1/8  a?[2J  "));
}

}  // namespace
}  // namespace IntfAddr
