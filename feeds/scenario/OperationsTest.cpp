#include "feeds/scenario/Operations.h"

#include <gmock/gmock.h>

#include "Zin/Format.h"
#include "feeds/scenario/TestReplay.h"

namespace Scenario {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// What is printed of the operations, behind the preparation.
Lines printed(Lines const& operations) { return replayed(prepared(operations)).printed; }

// Whether the scenario, whose last line is an expectation, comes out as expected.
void expectThat(Lines const& operations, std::string const& lookupOrRows) {
    Lines lines = operations;
    lines.push_back(R"({"op":"expect",)" + lookupOrRows + "}");
    auto const run = replayed(prepared(lines));
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(run.outcome, Outcome::completed) << testing::PrintToString(run.printed);
}

std::string lookup(std::string const& addr, std::string const& intf) {
    return R"("lookup":{"vrf":"red","addr":")" + addr + R"(","intf":)" +
           (intf.empty() ? "null" : "\"" + intf + "\"") + "}";
}

TEST(Operations, EachHasANameOfItsOwn) {
    for (Operation const& operation : operations()) {
        EXPECT_EQ(&operationOf(operation.name), &operation);
    }
    EXPECT_THAT(operations(), SizeIs(30));
}

TEST(Operations, AnUnknownOneIsNamed) {
    EXPECT_THAT([] { operationOf("ip.vrf"); },
                testing::ThrowsMessage<LineError>("unknown op 'ip.vrf'"));
    EXPECT_THAT([] { operationOf(std::string(1000, 'x')); }, testing::Throws<LineError>());
    EXPECT_EQ(replayed({R"({"op":""})"}).error, "unknown op ''");
    EXPECT_EQ(replayed({"{}"}).error, "field 'op' is missing");
    EXPECT_EQ(replayed({R"({"op":5})"}).error, "field 'op': expected a text, found 5");
}

TEST(Operations, EveryRequiredFieldIsMissed) {
    for (Operation const& operation : operations()) {
        for (Field const& field : operation.fields) {
            if (field.presence == Field::Presence::required) {
                auto const run = replayed({fmt::format(R"({{"op":"{}"}})", operation.name)});
                EXPECT_THAT(run.error, HasSubstr("is missing")) << operation.name;
            }
        }
    }
}

std::string validAddr(std::string_view operation) {
    return operation.starts_with("vip6")  ? "1::1"
           : operation.starts_with("ip6") ? "1::1/64"
                                          : "10.0.0.1/24";
}

TEST(Operations, NoFieldTakesAValueOfAnotherType) {
    for (Operation const& operation : operations()) {
        if (operation.name == configOp) {
            continue;
        }
        for (Field const& field : operation.fields) {
            Json object{{"op", operation.name}};
            for (Field const& other : operation.fields) {
                if (other.presence == Field::Presence::required) {
                    object[std::string(other.name)] =
                        other.name == "addr" ? validAddr(operation.name) : "red";
                }
            }
            object[std::string(field.name)] = Json::parse(R"([{"x":[]}])");
            auto const run = replayed(prepared({object.dump()}));
            EXPECT_FALSE(run.outcome) << object;
            EXPECT_THAT(run.error, HasSubstr(std::string(field.name))) << object;
        }
    }
}

TEST(Operations, AnInterfaceComesWithItsAddresses) {
    Lines const add{R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24",)"
                    R"("secondary":["10.0.0.2/24","10.0.1.1/24"]})"};
    for (char const* addr : {"10.0.0.1", "10.0.0.2", "10.0.1.1"}) {
        expectThat(add, lookup(addr, "eth0"));
    }
    expectThat({R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24",)"
                R"("unnumbered":"lo"})"},
               lookup("10.0.0.1", ""));
    Lines const add6{R"({"op":"ip6.intf.add","vrf":"red","intf":"eth0","addrs":[)"
                     R"({"addr":"1::1/64"},{"addr":"1::2/64","deprecated":true}]})"};
    expectThat(add6, lookup("1::1", "eth0"));
    expectThat(add6, lookup("1::2", "eth0"));
}

TEST(Operations, AddressesComeAndGo) {
    Lines lines{R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})"};
    expectThat(lines, lookup("10.0.0.1", "eth0"));
    lines.push_back(R"({"op":"ip.unnumbered","vrf":"red","intf":"eth0","source":"eth1"})");
    expectThat(lines, lookup("10.0.0.1", ""));
    lines.push_back(R"({"op":"ip.unnumbered","vrf":"red","intf":"eth0","source":""})");
    expectThat(lines, lookup("10.0.0.1", "eth0"));
    lines.push_back(R"({"op":"ip.secondary.add","vrf":"red","intf":"eth0","addr":"10.0.2.1/24"})");
    expectThat(lines, lookup("10.0.2.1", "eth0"));
    lines.push_back(R"({"op":"ip.secondary.del","vrf":"red","intf":"eth0","addr":"10.0.2.1/24"})");
    expectThat(lines, lookup("10.0.2.1", ""));
    lines.push_back(R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"0.0.0.0/0"})");
    expectThat(lines, R"("rows":{"red":[]})");
    lines.push_back(R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::1/64"})");
    expectThat(lines, lookup("1::1", "eth0"));
    lines.push_back(R"({"op":"ip6.addr.del","vrf":"red","intf":"eth0","addr":"1::1/64"})");
    expectThat(lines, R"("rows":{"red":[]})");
}

TEST(Operations, StatusGoesWithTheVrf) {
    Lines lines{R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::1/64"})",
                R"({"op":"ip.vrf.del","vrf":"red"})", R"({"op":"ip6.vrf.del","vrf":"red"})",
                R"({"op":"advance","seconds":1.5})"};
    expectThat(lines, R"("rows":{"red":[]})");
    lines.push_back(R"({"op":"ip.vrf.add","vrf":"red"})");
    lines.push_back(R"({"op":"ip.intf.add","vrf":"red","intf":"eth0","primary":"10.0.0.1/24"})");
    expectThat(lines, lookup("10.0.0.1", "eth0"));
}

TEST(Operations, AnInterfaceThatGoesIsCleanedUpLater) {
    Lines lines{R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::1/64"})",
                R"({"op":"ip.intf.del","vrf":"red","intf":"eth0"})",
                R"({"op":"ip6.intf.del","vrf":"red","intf":"eth0","at":1})"};
    expectThat(lines, lookup("10.0.0.1", "eth0"));
    lines.push_back(R"({"op":"advance","seconds":1})");
    expectThat(lines, R"("rows":{"red":["intfId=;addr=1::1;virtualIp=false;subnet=1::/64"]})");
    lines.push_back(R"({"op":"advance","seconds":1})");
    expectThat(lines, R"("rows":{"red":[]})");
}

TEST(Operations, DevicesComeAndGo) {
    Lines lines{R"({"op":"ip.intf.add","vrf":"red","intf":"eth2","primary":"10.0.0.1/24"})"};
    expectThat(lines, lookup("10.0.0.1", ""));
    lines.push_back(R"({"op":"kernel.add","vrf":"red","intf":"eth2","deviceName":"et2",)"
                    R"("ifIndex":7,"operStatus":"lowerLayerDown","active":false})");
    expectThat(lines, lookup("10.0.0.1", "eth2"));
    auto const dump = printed({lines[0], lines[1], R"({"op":"dump","what":"sm"})"});
    EXPECT_THAT(dump.back(),
                HasSubstr("eth2 deviceName=et2 ifIndex=7 operStatus=lowerLayerDown active=false"));
    lines.push_back(R"({"op":"kernel.del","vrf":"red","intf":"eth2"})");
    lines.push_back(R"({"op":"advance","seconds":2})");
    expectThat(lines, lookup("10.0.0.1", ""));
}

TEST(Operations, ADeviceIsNamedAsItsInterfaceUnlessSaidOtherwise) {
    EXPECT_THAT(printed({R"({"op":"dump","what":"sm"})"}).back(),
                HasSubstr("eth0 deviceName=eth0 ifIndex=0 operStatus=up active=true"));
}

TEST(Operations, VirtualAddressesComeAndGo) {
    Lines lines{R"({"op":"vip.add","vrf":"red","addr":"10.0.0.9/24"})",
                R"({"op":"vip6.add","vrf":"red","addr":"1::9"})",
                R"({"op":"vip.add","vrf":"blue","addr":"10.0.0.8/24"})"};
    expectThat(lines, R"("rows":{"red":["intfId=;addr=1::9;virtualIp=true;subnet=",)"
                      R"("intfId=;addr=10.0.0.9;virtualIp=true;subnet="]})");
    lines.push_back(R"({"op":"vip.del","vrf":"red","addr":"10.0.0.9/24"})");
    lines.push_back(R"({"op":"vip6.del","vrf":"red","addr":"1::9"})");
    expectThat(lines, R"("rows":{"red":[]})");
}

TEST(Operations, AManagerThatIsStoppedLeavesTheTablesAlone) {
    Lines lines{R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                R"({"op":"manager.stop"})",
                R"({"op":"ip.primary","vrf":"red","intf":"eth1","addr":"10.0.1.1/24"})",
                R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.0.1","intf":"eth0"}})",
                R"({"op":"expect","lookup":{"vrf":"red","addr":"10.0.1.1","intf":null}})",
                R"({"op":"manager.start"})"};
    expectThat(lines, lookup("10.0.1.1", "eth1"));
}

TEST(Operations, TablesComeAndGo) {
    EXPECT_EQ(replayed({R"({"op":"table.add","vrf":"a"})", R"({"op":"table.add","vrf":"b"})",
                        R"({"op":"table.del","vrf":"a"})", R"({"op":"snapshot"})"})
                  .printed.back(),
              R"({"t":0.0,"snapshot":{"b":{"rows":[],"byAddr":[],"subnets":[],"linkLocal":{},)"
              R"("deferred":[],"cleanup":[]}}})");
}

TEST(Operations, TheLowestAddressOfAnInterface) {
    EXPECT_THAT(printed({R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::2/64"})",
                         R"({"op":"ip6.addr.set","vrf":"red","intf":"eth0","addr":"1::1/64"})",
                         R"({"op":"lowest6","vrf":"red","intf":"eth0","at":1})",
                         R"({"op":"lowest6","vrf":"red","intf":"eth1"})"}),
                ElementsAre(R"({"t":1.0,"lowest6":{"vrf":"red","intf":"eth0","addr":"1::1"}})",
                            R"({"t":1.0,"lowest6":{"vrf":"red","intf":"eth1","addr":null}})"));
}

TEST(Operations, DumpsOfTheTables) {
    Lines const dumps =
        printed({R"({"op":"table.add","vrf":"blue"})", R"({"op":"dump"})",
                 R"({"op":"dump","maxEntries":1})",
                 R"({"op":"dump","maxEntries":1,"verbose":true})", R"({"op":"dump","indent":3})"});
    ASSERT_THAT(dumps, SizeIs(4));
    EXPECT_THAT(dumps[0], testing::StartsWith(R"({"t":0.0,"dump":"AllIntfAddrVrfTable\n)"));
    EXPECT_THAT(dumps[0], HasSubstr("vrf red"));
    EXPECT_THAT(dumps[1], Not(HasSubstr("vrf red")));
    EXPECT_EQ(dumps[2], dumps[0]);
    EXPECT_THAT(dumps[3], testing::StartsWith(R"({"t":0.0,"dump":"   AllIntfAddrVrfTable\n)"));
}

TEST(Operations, DumpsAreIndentedAsFarAsAnyoneCanRead) {
    for (auto const* const indent : {"10000", "4294967294", "4294957296"}) {
        EXPECT_THAT(printed({fmt::format(R"({{"op":"dump","indent":{}}})", indent)}), SizeIs(1));
    }
    for (auto const* const indent : {"10001", "2147483648", "4294957295"}) {
        EXPECT_THAT(replayed({fmt::format(R"({{"op":"dump","indent":{}}})", indent)}).error,
                    HasSubstr("'indent': expected an indentation of at most 10000 blanks"));
    }
}

TEST(Operations, DumpsOfTheMachinesAreInOrderOfTheirVrfs) {
    auto const run =
        replayed({R"({"op":"table.add","vrf":"b"})", R"({"op":"table.add","vrf":"a"})",
                  R"({"op":"table.add","vrf":"default"})", R"({"op":"dump","what":"sm"})",
                  R"({"op":"manager.stop"})", R"({"op":"dump","what":"sm"})"});
    ASSERT_THAT(run.printed, SizeIs(2));
    auto const at = [&](char const* vrf) { return run.printed[0].find(vrf); };
    EXPECT_LT(at("VRF=a "), at("VRF=b "));
    EXPECT_LT(at("VRF=b "), at("VRF=default "));
    EXPECT_EQ(run.printed[1], R"({"t":0.0,"dump":""})");
}

TEST(Operations, RowsThatAreNotAsExpectedArePrintedAndEndTheRun) {
    auto const run = replayed(
        prepared({R"({"op":"ip.primary","vrf":"red","intf":"eth0","addr":"10.0.0.1/24"})",
                  R"({"op":"expect","at":1,"rows":{"red":["b","a"]}})", R"({"op":"snapshot"})"}));
    EXPECT_EQ(run.outcome, Outcome::expectationFailed);
    EXPECT_THAT(
        run.printed,
        ElementsAre(
            R"({"t":1.0,"expect":{"line":11,"expected":{"rows":{"red":["a","b"]}},)"
            R"("found":{"rows":{"red":["intfId=;addr=10.0.0.1;virtualIp=false;subnet=10.0.0.0/24"]}}}})"));
}

TEST(Operations, RowsAreExpectedAsAListOfTexts) {
    for (auto const* const rows : {R"("row")", R"({"a":"row"})", "[1]", "null"}) {
        auto const run =
            replayed(prepared({fmt::format(R"({{"op":"expect","rows":{{"red":{}}}}})", rows)}));
        EXPECT_THAT(run.error, HasSubstr("a list of texts for each VRF")) << rows;
    }
}

TEST(Operations, EveryRowIsExpectedAsOftenAsItIsThere) {
    Lines const lines{R"({"op":"vip6.add","vrf":"red","addr":"1::1"})"};
    std::string const row = R"("intfId=;addr=1::1;virtualIp=true;subnet=")";
    expectThat(lines, R"("rows":{"red":[)" + row + "]}");
    auto const run = replayed(
        prepared({lines[0], R"({"op":"expect","rows":{"red":[)" + row + "," + row + "]}}"}));
    EXPECT_EQ(run.outcome, Outcome::expectationFailed);
}

TEST(Operations, AnOwnerThatIsNotAsExpectedIsPrintedAndEndsTheRun) {
    auto const run =
        replayed(prepared({R"({"op":"expect","rows":{"red":["x"]},)"
                           R"("lookup":{"vrf":"red","addr":"1:0::1","intf":"eth0"}})"}));
    EXPECT_EQ(run.outcome, Outcome::expectationFailed);
    ASSERT_THAT(run.printed, SizeIs(2));
    EXPECT_EQ(run.printed[1], R"({"t":0.0,"expect":{"line":10,)"
                              R"("expected":{"lookup":{"vrf":"red","addr":"1::1","intf":"eth0"}},)"
                              R"("found":{"lookup":{"vrf":"red","addr":"1::1","intf":null}}}})");
}

TEST(Operations, ALinkLocalAddressIsLookedUpOnItsInterface) {
    Lines lines{R"({"op":"ip6.addr.set","vrf":"red","intf":"eth1","addr":"fe80::1/64"})"};
    expectThat(lines, lookup("fe80::1", "eth1"));
    expectThat(lines, lookup("fe80::2", ""));
    for (std::string const& wrong : {lookup("fe80::1", "eth0"), lookup("fe80::1", "")}) {
        auto const run = replayed(prepared({lines[0], R"({"op":"expect",)" + wrong + "}"}));
        EXPECT_EQ(run.outcome, Outcome::expectationFailed) << wrong;
    }
}

}  // namespace
}  // namespace Scenario
