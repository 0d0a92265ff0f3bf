#include "feeds/scenario/Snapshot.h"

#include <gtest/gtest.h>

#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

OrderedJson snapshotOf(Lines const& operations) {
    Lines lines = operations;
    lines.push_back(R"({"op":"snapshot"})");
    auto const run = replayed(lines);
    return OrderedJson::parse(run.printed.at(0))["snapshot"];
}

TEST(Snapshot, HasEveryKindOfRow) {
    auto const red = snapshotOf(prepared(
        {R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
         R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0","addrs":[{"addr":"fe80::1/64"},)"
         R"({"addr":"1::1/64"},{"addr":"1::2/64","deprecated":true}]})",
         R"({"op":"vip.add","vrf":"red","addr":"10.0.0.1/24"})"}))["red"];
    std::string const ordinary = R"({"key":{"intf":"","addr":"10.0.0.1","vip":false},)"
                                 R"("intf":"eth0","subnet":"10.0.0.0/24"})";
    std::string const virtualIp =
        R"({"key":{"intf":"","addr":"10.0.0.1","vip":true},"intf":"","subnet":""})";
    std::string const preferred =
        R"({"key":{"intf":"","addr":"1::1","vip":false},"intf":"eth0","subnet":"1::/64"})";
    std::string const deprecated =
        R"({"key":{"intf":"","addr":"1::2","vip":false},"intf":"eth0","subnet":"1::/64"})";
    std::string const linkLocal = R"({"key":{"intf":"eth0","addr":"fe80::1","vip":false},)"
                                  R"("intf":"eth0","subnet":"fe80::/64"})";
    std::string const rows = "[" + ordinary + "," + virtualIp + "," + preferred + "," + deprecated +
                             "," + linkLocal + "]";
    EXPECT_EQ(red.dump(),
              R"({"rows":)" + rows + R"(,"byAddr":)" + rows +
                  R"(,"subnets":[{"subnet":"10.0.0.0/24","intf":"eth0",)"
                  R"("entries":[{"intf":"","addr":"10.0.0.1","vip":false}],"deprecated":[]},)"
                  R"({"subnet":"1::/64","intf":"eth0",)"
                  R"("entries":[{"intf":"","addr":"1::1","vip":false}],)"
                  R"("deprecated":[{"intf":"","addr":"1::2","vip":false}]}],)"
                  R"("linkLocal":{"eth0":"fe80::1"},"deferred":[],"cleanup":[]})");
}

TEST(Snapshot, HasWhatWaits) {
    Lines lines = prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                            R"({"op":"ip.intf.add","vrf":"red","intf":"eth1",)"
                            R"("primary":"10.0.0.3/24","secondary":["10.0.0.2/24"]})",
                            R"({"op":"ip6.intf.del","vrf":"red","intf":"eth1","at":0.5})",
                            R"({"op":"ip6.intf.del","vrf":"red","intf":"eth0","at":0.75})",
                            R"({"op":"ip.intf.del","vrf":"red","intf":"eth0","at":1})"});
    auto red = snapshotOf(lines)["red"];
    EXPECT_EQ(red["deferred"].dump(), R"([{"intf":"eth1","addr":"10.0.0.2/24"},)"
                                      R"({"intf":"eth1","addr":"10.0.0.3/24"}])");
    EXPECT_EQ(red["cleanup"].dump(), R"([{"intf":"eth0","af":"IPv4","since":1.0},)"
                                     R"({"intf":"eth0","af":"IPv6","since":0.75},)"
                                     R"({"intf":"eth1","af":"IPv6","since":0.5}])");

    lines.push_back(R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0"})");
    EXPECT_EQ(snapshotOf(lines)["red"]["cleanup"].dump(),
              R"([{"intf":"eth0","af":"IPv4","since":1.0},)"
              R"({"intf":"eth1","af":"IPv6","since":0.5}])");

    lines.push_back(R"({"op":"manager.stop"})");
    red = snapshotOf(lines)["red"];
    EXPECT_EQ(red["deferred"].dump(), "[]");
    EXPECT_EQ(red["cleanup"].dump(), "[]");
}

TEST(Snapshot, WithoutACleanUpDelayNothingIsPending) {
    Lines lines = prepared({R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})"});
    lines.insert(lines.begin(), R"({"op":"config","intfCleanupDelay":0})");
    EXPECT_EQ(snapshotOf(lines)["red"]["cleanup"].dump(), "[]");
}

TEST(Snapshot, IsSortedByBytesThenFamilyThenValueThenLength) {
    Lines const lines{
        R"({"op":"table.add","vrf":"b"})",
        R"({"op":"table.add","vrf":"default"})",
        R"({"op":"table.add","vrf":"a"})",
        R"({"op":"table.add","vrf":"B"})",
        R"({"op":"ip.vrf.add","vrf":"a"})",
        R"({"op":"ip6.vrf.add","vrf":"a"})",
        R"({"op":"kernel.add","vrf":"a","intf":"é"})",
        R"({"op":"kernel.add","vrf":"a","intf":"e10"})",
        R"({"op":"kernel.add","vrf":"a","intf":"e9"})",
        R"({"op":"ip6.intf.add","vrf":"a","intf":"é","addrs":[{"addr":"fe80::1/64"}]})",
        R"({"op":"ip6.intf.add","vrf":"a","intf":"e9","addrs":[{"addr":"fe80::1/64"}]})",
        R"({"op":"ip6.intf.add","vrf":"a","intf":"e10","addrs":[{"addr":"fe80::1/64"}]})",
        R"({"op":"ip6.addr.set","vrf":"a","intf":"e9","addr":"1::1/64"})",
        R"({"op":"ip.intf.add","vrf":"a","intf":"e9","secondary":["10.0.0.10/24",)"
        R"("10.0.0.9/24","9.0.0.1/8","10.0.0.1/16"]})"};
    auto const vrfs = snapshotOf(lines);
    std::vector<std::string> names;
    for (auto const& vrf : vrfs.items()) {
        names.push_back(vrf.key());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "b", "default"}));

    std::vector<std::string> rows;
    for (auto const& row : vrfs["a"]["rows"]) {
        rows.push_back(row["key"]["intf"].get<std::string>() + " " +
                       row["key"]["addr"].get<std::string>());
    }
    EXPECT_EQ(rows, (std::vector<std::string>{" 9.0.0.1", " 10.0.0.1", " 10.0.0.9", " 10.0.0.10",
                                              " 1::1", "e10 fe80::1", "e9 fe80::1", "é fe80::1"}));
    std::vector<std::string> subnets;
    for (auto const& set : vrfs["a"]["subnets"]) {
        subnets.push_back(set["subnet"]);
    }
    EXPECT_EQ(subnets,
              (std::vector<std::string>{"9.0.0.0/8", "10.0.0.0/16", "10.0.0.0/24", "1::/64"}));
    EXPECT_EQ(vrfs["a"]["linkLocal"].dump(), R"({"e10":"fe80::1","e9":"fe80::1","é":"fe80::1"})");
}

}  // namespace
}  // namespace Scenario
