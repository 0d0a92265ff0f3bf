#include "intfaddr/history/AddressEvent.h"

#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

using Kind = AddressEvent::Kind;

TEST(AddressEvent, SaysWhatHappenedToAnAddress) {
    EXPECT_EQ(textOf({.kind = Kind::published, .marks = {.primary = true}, .intf = "eth0"}),
              "was published as primary on eth0");
    EXPECT_EQ(textOf({.kind = Kind::toldThere,
                      .marks = {.deprecated = true, .tentative = true},
                      .intf = "eth0"}),
              "was told by the kernel as deprecated, tentative on eth0");
    EXPECT_EQ(textOf({.kind = Kind::admitted, .marks = {.virtualIp = true}}),
              "came into the table as virtual");
    EXPECT_EQ(textOf({.kind = Kind::rebuilt, .why = "a row was lost"}),
              "changed as the table was rebuilt: a row was lost");
}

TEST(AddressEvent, SaysBehindWhomAnAddressHasToWait) {
    EXPECT_EQ(textOf({.kind = Kind::deferred,
                      .intf = "eth1",
                      .holder = Routing::Holder{Nimb::IpGenAddrWithMask("10.0.0.1/24"), "eth0"}}),
              "was deferred on eth1, behind 10.0.0.1/24 on eth0");
}

TEST(AddressEvent, SaysOfWhichFamilyOfAnInterfaceItIs) {
    EXPECT_EQ(textOf({.kind = Kind::statusWent, .intf = "eth0"}), "status went for IPv4 on eth0");
    EXPECT_EQ(textOf({.kind = Kind::cleanedUp, .marks = {.ipv6 = true}, .intf = "eth0"}),
              "clean-up was done for IPv6 on eth0");
    EXPECT_EQ(textOf({.kind = Kind::deviceWent, .intf = "eth0"}), "device went on eth0");
}

}  // namespace
}  // namespace IntfAddr
