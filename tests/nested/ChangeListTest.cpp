#include "ChangeList.h"

#include <gtest/gtest.h>

#include "Trial.h"
#include "feeds/scenario/TestReplay.h"

namespace Nested {
namespace {

using Addr = Nimb::IpGenAddrWithMask;
using Kind = Operation::Kind;

TEST(ChangeList, IsTheSameForTheSameSeedAndNumberAlone) {
    auto const text = [](std::uint64_t seed, std::uint64_t number) {
        return toScenario(randomList(seed, number, Outer::unrelated));
    };
    EXPECT_EQ(text(1, 2), text(1, 2));
    EXPECT_NE(text(1, 2), text(1, 3));
    EXPECT_NE(text(1, 2), text(2, 2));
}

// What is printed of a list that shows something can be replayed, and shows the same.
TEST(ChangeList, IsWrittenAsAScenario) {
    ChangeList const list{
        .intfCleanupDelay = 0.5,
        .before = {{.kind = Kind::ipPrimary, .intf = "Ethernet0", .addr = Addr("10.0.0.1/24")},
                   {.kind = Kind::ipUnnumbered, .intf = "Ethernet0", .flag = true},
                   {.kind = Kind::ipUnnumbered, .intf = "Ethernet0"},
                   {.kind = Kind::ipSecondaryAdd, .intf = "Ethernet0", .addr = Addr("10.1.0.1/24")},
                   {.kind = Kind::ipSecondaryAdd, .intf = "Ethernet0", .addr = Addr("10.2.0.1/24")},
                   {.kind = Kind::ipSecondaryDel, .intf = "Ethernet0", .addr = Addr("10.1.0.1/24")},
                   {.kind = Kind::ip6AddrSet,
                    .intf = "Ethernet0",
                    .addr = Addr("2001:db8::1/64"),
                    .flag = true},
                   {.kind = Kind::ip6AddrSet, .intf = "Ethernet0", .addr = Addr("fe80::1/64")},
                   {.kind = Kind::ip6AddrDel, .intf = "Ethernet0", .addr = Addr("fe80::1/64")},
                   {.kind = Kind::vipAdd, .addr = Addr("10.9.0.1/24")},
                   {.kind = Kind::vipDel, .addr = Addr("10.9.0.1/24")},
                   {.kind = Kind::vipAdd, .addr = Addr("2001:db8:9::1/64")},
                   {.kind = Kind::kernelDel, .intf = "Ethernet1"},
                   {.kind = Kind::advance, .seconds = 0.5},
                   {.kind = Kind::kernelAdd, .intf = "Ethernet1"}},
        .outer = {.kind = Kind::ipPrimary, .intf = "Ethernet9", .addr = Addr("172.16.9.1/24")},
        .nested = {{.kind = Kind::ipIntfDel, .intf = "Ethernet2"},
                   {.kind = Kind::ip6IntfDel, .intf = "Ethernet2"},
                   {.kind = Kind::ipIntfAdd,
                    .intf = "Ethernet2",
                    .addr = Addr("10.0.0.1/24"),
                    .second = Addr("10.5.0.1/24")},
                   {.kind = Kind::ip6IntfAdd,
                    .intf = "Ethernet1",
                    .addr = Addr("2001:db8:5::1/64"),
                    .second = Addr("2001:db8:5::2/64"),
                    .flag = true},
                   {.kind = Kind::managerStop},
                   {.kind = Kind::managerStart}}};

    auto const replayed = Scenario::replayedText(toScenario(list));

    EXPECT_EQ(replayed.error, "");
    ASSERT_EQ(replayed.printed.size(), 2u);
    auto const snapshot = Scenario::Json::parse(replayed.printed[0])["snapshot"]["red"];
    auto const tables = tried(list, {}).after;
    EXPECT_EQ(tables.rows.size(), 8u);
    EXPECT_EQ(snapshot["rows"].size(), tables.rows.size());
    EXPECT_EQ(snapshot["subnets"].size(), tables.sets.size());
    EXPECT_EQ(snapshot["deferred"].size(), tables.deferred.size());
}

}  // namespace
}  // namespace Nested
