// Why an address is there, or is not, as an agent with a history says it, on a fake kernel.
#include "intfaddr/answer/Explanation.h"

#include <gmock/gmock.h>

#include "Zin/Format.h"
#include "intfaddr/answer/TestExplanation.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST_F(ExplanationTest, SaysAsWhatAnInterfaceOwnsIt) {
    addAddress(7, "10.0.0.1/24");
    addAddress(7, "10.0.0.2/24");
    addSettled(7, "2001:db8::1/64");
    put(7,
        {.own = Nimb::IpGenAddrWithMask("2001:db8::2/64"), .flags = IFA_F_NODAD, .preferred = 0});
    addSettled(7, "fe80::1/64");
    start();
    inputs().vipAdd("default", Nimb::IpAddrWithMask("10.0.0.9/24")).apply();
    runTo(5.0);

    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre("owned: 10.0.0.1/24 is owned by eth0 of VRF "
                            "'default', as its primary address, for 5.0 s now.",
                            "eth0 publishes it, and has its subnet "
                            "10.0.0.0/24 too."));
    EXPECT_THAT(explain("10.0.0.2")[0], HasSubstr("of VRF 'default', as a secondary address, for"));
    EXPECT_THAT(explain("2001:db8::1")[0], HasSubstr("as an IPv6 address, for"));
    EXPECT_THAT(explain("2001:db8::2"),
                ElementsAre(HasSubstr("as a deprecated IPv6 address, for 5.0 s now"),
                            "It is deprecated: it has its row, and does not keep others out of "
                            "2001:db8::/64."));
    EXPECT_THAT(explain("fe80::1"),
                ElementsAre(HasSubstr("owned: fe80::1/64 is owned by eth0 of VRF 'default', as its "
                                      "link-local address"),
                            HasSubstr("it came first")));
    EXPECT_THAT(explain("10.0.0.9"), ElementsAre("owned: 10.0.0.9 is a virtual address of VRF "
                                                 "'default', for 4.0 s now.",
                                                 HasSubstr("on no interface")));
    EXPECT_EQ(first("10.0.0.9")["interface"], nullptr);
    EXPECT_EQ(first("10.0.0.9")["since"], 1.0);
}

TEST_F(ExplanationTest, SaysThatItsDeviceIsDown) {
    addAddress(7, "10.0.0.1/24");
    start();
    EXPECT_THAT(explain("10.0.0.1"), Not(Contains(HasSubstr("is down"))));
    kernel.links().setUp({own, 7}, false);
    runTo(2.0);
    EXPECT_THAT(explain("10.0.0.1"), Contains(HasSubstr("The device of eth0 is down")));
}

TEST_F(ExplanationTest, SaysBehindWhichAddressItWaitsAndWhatWouldFreeIt) {
    addAddress(7, "10.0.0.1/24");
    start();
    addAddress(8, "10.0.0.1/16");
    runTo(1.5);

    auto const on = [](char const* intf) { return Parameters{{"interface", intf}}; };
    EXPECT_THAT(
        explain("10.0.0.1", on("eth1")),
        ElementsAre("waiting: 10.0.0.1/16 of VRF 'default' waits on eth1, behind "
                    "10.0.0.1/24 on eth0, for 0.5 s now.",
                    "An address is of one interface, and eth0 had it first.",
                    "It can come once 10.0.0.1/24 has left eth0.", "The next try is in 1.5 s."));
    EXPECT_EQ(first("10.0.0.1", on("eth1"))["events"].size(), 3U);
    runTo(9.0);
    EXPECT_EQ(explain("10.0.0.1", on("eth1")).back(),
              "It is tried again 2.0 s after a row has left the table.");
    EXPECT_EQ(explain("10.0.0.1").size(), 6U) << "of both interfaces";
    runTo(12.0);
    removeAddress(7, "10.0.0.1/24");
    runTo(12.5);
    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre("waiting: 10.0.0.1/16 of VRF 'default' waits on eth1, for its next try "
                            "alone, for 11.5 s now.",
                            "Nobody is in its way any more.", "The next try is in 1.5 s."));
    EXPECT_EQ(first("10.0.0.1", on("eth1"))["events"].size(), 3U) << "without those of eth0";
    runTo(15.0);
    EXPECT_THAT(explain("10.0.0.1")[0], HasSubstr("is owned by eth1"));
}

TEST_F(ExplanationTest, SaysBehindWhichSubnetItWaits) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    start();
    runTo(9.0);
    EXPECT_THAT(
        explain("10.0.0.2"),
        ElementsAre("waiting: 10.0.0.2/24 of VRF 'default' waits on eth1, behind 10.0.0.0/24, "
                    "which is connected to eth0.",
                    "A subnet is of one interface, and eth0 was in 10.0.0.0/24 first.",
                    "It can come once eth0 has no address in 10.0.0.0/24 any more, but deprecated "
                    "ones.",
                    "It is tried again 2.0 s after a row has left the table."));
    EXPECT_FALSE(first("10.0.0.2").contains("since")) << "it waited when the history began";
}

TEST_F(ExplanationTest, EachPrefixLengthWaitsSinceATimeOfItsOwn) {
    addAddress(7, "10.0.0.1/24");
    start();
    addAddress(8, "10.0.0.1/16");
    runTo(2.0);
    addAddress(8, "10.0.0.1/8");
    runTo(3.0);
    Json const told = ask("10.0.0.1", {{"interface", "eth1"}})["explanations"];
    ASSERT_EQ(told.size(), 2U);
    EXPECT_THAT(told[0]["sentence"], HasSubstr("10.0.0.1/16 of"));
    EXPECT_LT(told[0]["since"], 2.0);
    EXPECT_GE(told[1]["since"], 2.0);
}

TEST_F(ExplanationTest, AnInterfaceMayBeInItsOwnWay) {
    addSettled(7, "fe80::1/64");
    addSettled(7, "fe80::2/64");
    start();
    EXPECT_THAT(explain("fe80::2"),
                ElementsAre(HasSubstr("waiting: fe80::2/64 of VRF 'default' waits on eth0, behind "
                                      "fe80::1/64 on eth0"),
                            HasSubstr("one link-local address of an interface, and fe80::1 came"),
                            "It can come once fe80::1/64 has left eth0.", StartsWith("The next")));
    inputs().ipIntfAdd("default", "tun0", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}).apply();
    inputs().kernelAdd("default", "tun0", {}).apply();
    inputs().ipSecondaryAdd("default", "tun0", Nimb::IpAddrWithMask("10.0.0.1/16")).apply();
    EXPECT_THAT(explain("10.0.0.1"), Contains("tun0 has it with another prefix length still."));
}

TEST_F(ExplanationTest, WhoeverIsWaitedForMayBeOnItsWayOut) {
    start();
    inputs().kernelAdd("default", "tun0", {}).apply();
    inputs().ipIntfAdd("default", "tun0", {.primary = Nimb::IpAddrWithMask("10.0.0.1/24")}).apply();
    runTo(2.0);
    addAddress(7, "10.0.0.1/24");
    runTo(3.0);
    inputs().ipIntfDel("default", "tun0").apply();
    recorder->catchUp();
    runTo(3.5);
    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre("leaving: 10.0.0.1/24 is still owned by tun0 of VRF 'default', until "
                            "it is cleaned up in 1.0 s.",
                            "The IPv4 status of tun0 has gone, 0.5 s ago.",
                            "Rows stand 1.5 s longer than that, so that a short flap disturbs "
                            "nobody.",
                            StartsWith("waiting: 10.0.0.1/24 of VRF 'default' waits on eth0"),
                            HasSubstr("tun0 had it first"), "What tun0 has is cleaned up in 1.0 s.",
                            HasSubstr("It can come"), HasSubstr("try")));
    EXPECT_EQ(first("10.0.0.1")["since"], 3.0);
}

TEST_F(ExplanationTest, ARowOutlivesItsDeviceAndThenTheAddressWaitsForThat) {
    start();
    inputs().kernelAdd("default", "tun0", {}).apply();
    inputs().ipIntfAdd("default", "tun0", {.primary = Nimb::IpAddrWithMask("10.9.0.1/24")}).apply();
    runTo(2.0);
    inputs().kernelDel("default", "tun0").apply();
    EXPECT_THAT(explain("10.9.0.1"),
                ElementsAre(StartsWith("leaving:"), "The device of tun0 has gone, 0.0 s ago.",
                            StartsWith("Rows stand")));
    runTo(5.0);
    EXPECT_THAT(explain("10.9.0.1"),
                ElementsAre("no-device: 10.9.0.1/24 is published on tun0 of VRF 'default', for "
                            "which the kernel has no device.",
                            "The device of tun0 went 3.0 s ago.",
                            "It comes into the table when the device does."));
    inputs().ipIntfAdd("default", "tun1", {.primary = Nimb::IpAddrWithMask("10.8.0.1/24")}).apply();
    EXPECT_THAT(explain("10.8.0.1"),
                Contains("tun1 has had no device since the history begins, 5.0 s ago."));
}

TEST_F(ExplanationTest, WhatIsBorrowedIsOwnedByTheLender) {
    kernel.links().add(Netlink::Fake::LinkKind::bridge, {own, "br0", 9});
    addAddress(7, "192.0.2.1/32");
    addAddress(9, "192.0.2.1/32");
    start();
    EXPECT_THAT(explain("192.0.2.1"),
                ElementsAre(HasSubstr("owned: 192.0.2.1/32 is owned by eth0"),
                            "eth0 publishes it, and has its subnet 192.0.2.1/32 too.",
                            "borrowed: br0 of VRF 'default' is unnumbered: it borrows 192.0.2.1/32 "
                            "from eth0.",
                            HasSubstr("what eth0 publishes of it stands for both")));
}

TEST_F(ExplanationTest, DuplicateAddressDetectionKeepsItBack) {
    kernel.links().addVeth({own, "eth2", 9}, {own, "eth3", 10});
    for (std::uint32_t const ifIndex : {9U, 10U}) {
        kernel.links().setUp({own, ifIndex}, true);
    }
    start();
    addAddress(9, "2001:db8::1/64");
    runTo(1.5);
    EXPECT_THAT(explain("2001:db8::1"),
                ElementsAre("tentative: 2001:db8::1/64 is tentative on eth2 of VRF 'default', for "
                            "0.5 s now.",
                            HasSubstr("has not ended")));
    ASSERT_EQ(kernel.links().detectDuplicate({own, 9}, Nimb::IpGenAddrWithMask("2001:db8::1/64")),
              0);
    runTo(3.5);
    EXPECT_THAT(explain("2001:db8::1"),
                ElementsAre("duplicate: 2001:db8::1/64 is a duplicate on eth2 of VRF 'default': "
                            "its detection failed 2.0 s ago.",
                            HasSubstr("Somebody else on the link has it")));
}

TEST_F(ExplanationTest, WhatTheConfigurationLeavesOutIsSaidToBe) {
    addAddress(7, "10.0.0.1/24");
    start({.leftOut = {"eth*"}});
    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre("left-out: 10.0.0.1/24 is left out, with all that eth0 of VRF "
                            "'default' has.",
                            HasSubstr("configuration")));
}

TEST_F(ExplanationTest, AnAddressOfTwoPeersIsThereOnce) {
    for (char const* const peer : {"10.1.0.1", "10.1.0.2"}) {
        put(7, {.own = Nimb::IpGenAddrWithMask("10.0.0.1/32"), .peer = Nimb::IpGenAddr(peer)});
    }
    start();
    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre(StartsWith("owned"), HasSubstr("subnet"),
                            "repeated: 10.0.0.1/32 is on eth0 of VRF 'default' already, with "
                            "another peer.",
                            HasSubstr("once")));
}

TEST_F(ExplanationTest, WhatATableCannotCarryIsSaid) {
    start();
    inputs().kernelAdd("default", "tun0", {}).apply();
    inputs().ip6IntfAdd("default", "tun0", {{.addr = Nimb::Ip6AddrWithMask("fe80::7/64")}}).apply();
    Nimb::Ip6AddrWithMask const other("fe80::7/10");
    inputs().ip6AddrSet("default", "tun0", {.addr = other}).apply();
    EXPECT_THAT(explain("fe80::7"),
                ElementsAre(StartsWith("owned: fe80::7/64"), HasSubstr("first"),
                            "repeated: fe80::7/10 is on tun0 of VRF 'default' already, with prefix "
                            "length 64.",
                            HasSubstr("one address")));
    Nimb::Ip6AddrWithMask const deprecated("fe80::8/64");
    EXPECT_THROW(
        inputs().ip6AddrSet("default", "tun0", {.addr = deprecated, .deprecated = true}).apply(),
        Zin::RangeError);
    EXPECT_THAT(explain("fe80::8"),
                ElementsAre("refused: fe80::8/64 is refused on tun0 of VRF 'default': it is "
                            "deprecated.",
                            HasSubstr("preferred again")));
}

TEST_F(ExplanationTest, OfAnotherVrfOrInterfaceItIsSaidWhichOne) {
    auto const red = kernel.makeNamespace("ns-red");
    add(red, 7, "eth0");
    addAddress(7, "10.0.0.1/24");
    start();
    EXPECT_THAT(explain("10.0.0.1", {{"vrf", "red"}}),
                ElementsAre("none: No interface of VRF 'red' has 10.0.0.1.",
                            "10.0.0.1/24 is owned by eth0 of VRF 'default', as its primary "
                            "address, for 1.0 s now.",
                            "It has not been seen since the history begins, 1.0 s ago."));
    EXPECT_THAT(explain("10.0.0.1", {{"vrf", "default"}, {"interface", "eth1"}}),
                ElementsAre("connected: eth1 of VRF 'default' has no 10.0.0.1.",
                            StartsWith("10.0.0.1/24 is owned by eth0"), HasSubstr("connected to"),
                            HasSubstr("not been seen")));
    EXPECT_THAT(explain("10.0.0.1").size(), 2U) << "VRF red has nothing to say of it";
}

TEST_F(ExplanationTest, NobodyHasItButItsSubnetIsConnected) {
    addAddress(7, "10.0.0.1/24");
    start();
    EXPECT_THAT(explain("10.0.0.9"),
                ElementsAre("connected: No interface of VRF 'default' has 10.0.0.9.",
                            "It is in 10.0.0.0/24, which is connected to eth0.",
                            "It has not been seen since the history begins, 1.0 s ago."));
    EXPECT_THAT(explain("10.7.0.9"),
                ElementsAre("none: No interface of any VRF has 10.7.0.9.",
                            "It has not been seen since the history begins, 1.0 s ago."));
    EXPECT_EQ(first("10.7.0.9")["vrf"], nullptr);
}

TEST_F(ExplanationTest, WhatHasGoneIsSaidWhenAndWhy) {
    addAddress(7, "10.0.0.1/24");
    start();
    runTo(2.0);
    removeAddress(7, "10.0.0.1/24");
    runTo(5.0);
    EXPECT_THAT(explain("10.0.0.1"),
                ElementsAre("none: No interface of VRF 'default' has 10.0.0.1.",
                            "It left the table on eth0 3.0 s ago.",
                            "Before, it was withdrawn as primary on eth0 3.0 s ago."));
    EXPECT_EQ(first("10.0.0.1")["events"].size(), 3U);
    addAddress(7, "10.0.0.1/24");
    inputs().kernelAdd("default", "tun0", {}).apply();
    inputs().ipIntfAdd("default", "tun0", {.primary = Nimb::IpAddrWithMask("10.9.0.1/24")}).apply();
    recorder->catchUp();
    inputs().ipIntfDel("default", "tun0").apply();
    runTo(9.0);
    EXPECT_THAT(explain("10.9.0.1"), Contains("Before, its interface's status went for IPv4 on "
                                              "tun0 4.0 s ago."));
}

TEST_F(ExplanationTest, WhatARebuildHasBroughtOrTakenIsSaid) {
    addAddress(7, "10.0.0.1/24");
    start();
    auto const table = [this] { return agent->router().table("default"); };
    IpLib::IntfAddrEntryContent const wrong{
        .key = IpLib::IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.5.0.1")),
        .intfId = "eth1",
        .subnet = Nimb::IpGenPrefix("10.5.0.0/24")};
    table()->intfAddrEntryFromAddrIs(table()->intfAddrEntryIs(wrong));
    runTo(2.0);
    addAddress(7, "10.0.0.2/24");
    runTo(30.0);
    auto const lost = explain("10.5.0.1");
    EXPECT_THAT(lost, Contains(HasSubstr("A rebuild of the table took it ")));
    addAddress(8, "10.5.0.1/24");
    runTo(31.0);
    EXPECT_THAT(explain("10.5.0.1"), AllOf(Contains(StartsWith("A rebuild of the table took it ")),
                                           Contains("It is back, for 1.0 s now.")));

    IpLib::IntfAddrEntryContent const row = (*table()->intfAddrEntry().begin()).key;
    auto const addr = row.key.addr.toStrep();
    table()->intfAddrEntryDel(row);
    table()->intfAddrEntryFromAddrDel(row.key);
    EXPECT_THAT(explain(addr), ElementsAre(HasSubstr("missing: "), HasSubstr("An audit")));
    removeAddress(7, "10.0.0.2/24");
    runTo(60.0);
    EXPECT_THAT(explain(addr), Contains(StartsWith("A rebuild of the table brought it ")));
}

TEST_F(ExplanationTest, WhatCannotBeReadIsNotKnown) {
    start();
    kernel.makeNamespace("ns-red");
    kernel.faults().next(Netlink::Fake::Fault::failOpening, EPERM, 1000);
    runTo(2.0);
    EXPECT_THAT(explain("10.0.0.1", {{"vrf", "red"}}),
                ElementsAre("not-known: Whether an interface of VRF 'red' has 10.0.0.1 is not "
                            "known.",
                            HasSubstr("not permitted"), HasSubstr("not been seen")));
    EXPECT_THAT(explain("10.0.0.1")[0], StartsWith("not-known: Whether an interface of any VRF"));
    EXPECT_EQ(ask("10.0.0.1")["notKnown"].size(), 1U);
    EXPECT_THAT(explain("127.0.0.1", {{"vrf", "default"}})[0], Not(StartsWith("not-known")));
}

TEST_F(ExplanationTest, WhatIsStaleIsExplainedAsItWasSeenLast) {
    addAddress(7, "10.0.0.1/24");
    start();
    kernel.overrun(own);
    kernel.faults().next(Netlink::Fake::Fault::refuseDump, EPERM, 1000);
    runTo(20.0);
    ASSERT_FALSE(agent->feed().stale().empty());
    EXPECT_THAT(explain("10.0.0.1"), ElementsAre(StartsWith("owned"), HasSubstr("subnet"),
                                                 StartsWith("This is as it was seen last: ")));
    EXPECT_THAT(explain("10.7.0.1", {{"vrf", "default"}})[0], StartsWith("not-known"));
}

TEST_F(ExplanationTest, ASingleLookSpeaksOfNoTimes) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.1/16");
    start();
    EXPECT_EQ(ask("10.0.0.1", {}, false)["history"], nullptr);
    auto const texts = explain("10.0.0.1", {}, false);
    EXPECT_EQ(texts[0],
              "owned: 10.0.0.1/24 is owned by eth0 of VRF 'default', as its primary "
              "address.");
    EXPECT_THAT(texts, Contains("It is tried again 2.0 s after a row has left the table."));
    EXPECT_THAT(explain("10.7.0.1", {}, false),
                ElementsAre("none: No interface of any VRF has 10.7.0.1."));
    EXPECT_EQ(ask("10.0.0.1")["history"], Json({{"begins", 0.0}, {"now", 1.0}}));
}

TEST_F(ExplanationTest, AFewOfManyOtherPlacesAreNamed) {
    for (std::uint32_t i = 20; i < 30; ++i) {
        add(own, i, fmt::format("dummy{}", i).c_str());
        addSettled(i, "fe80::1/64");
    }
    start();
    EXPECT_EQ(first("fe80::1", {{"interface", "eth0"}})["reasons"].size(), 5U + 1U);
    EXPECT_EQ(ask("fe80::1")["explanations"].size(), 10U);
    EXPECT_EQ(first("fe80::1", {{"interface", "dummy21"}})["verdict"], "owned");
}

}  // namespace
}  // namespace IntfAddr
