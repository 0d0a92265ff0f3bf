#include "intfaddr/ask/Words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

Grammar const all{.subject = Subject::addrOrPrefix, .keywords = {"vrf", "intf", "family"}};
Grammar const one{.subject = Subject::addr, .isNeeded = true, .keywords = {"vrf"}};
Grammar const intf{.subject = Subject::intf, .isNeeded = true, .keywords = {"vrf"}};
Grammar const none{.keywords = {"vrf"}};

std::string refusal(Grammar const& grammar, std::vector<std::string> const& words) {
    try {
        static_cast<void>(parametersOf(grammar, words));
    } catch (BadQuestion const& error) {
        return error.what();
    }
    return "";
}

TEST(Words, TheSubjectMayStandAnywhereBetweenKeywords) {
    EXPECT_THAT(parametersOf(all, {}), IsEmpty());
    EXPECT_THAT(parametersOf(all, {"10.0.0.1", "vrf", "red"}),
                ElementsAre(Pair("address", "10.0.0.1"), Pair("vrf", "red")));
    EXPECT_THAT(parametersOf(all, {"vrf", "red", "10.0.0.0/8", "family", "4", "intf", "eth0"}),
                ElementsAre(Pair("vrf", "red"), Pair("prefix", "10.0.0.0/8"), Pair("family", "4"),
                            Pair("interface", "eth0")));
    EXPECT_THAT(parametersOf(intf, {"eth0"}), ElementsAre(Pair("interface", "eth0")));
}

TEST(Words, AValueMayBeCalledLikeAKeyword) {
    EXPECT_THAT(parametersOf(all, {"vrf", "vrf", "intf", "family"}),
                ElementsAre(Pair("vrf", "vrf"), Pair("interface", "family")));
}

TEST(Words, AnAddressMayNameItsZone) {
    EXPECT_THAT(parametersOf(all, {"fe80::1%eth0"}),
                ElementsAre(Pair("address", "fe80::1"), Pair("interface", "eth0")));
    EXPECT_THAT(refusal(all, {"fe80::1%eth0", "intf", "eth1"}), "'eth1' is one interface too many");
}

TEST(Words, APrefixWithHostBitsIsTheSubnetInWhichTheyLie) {
    EXPECT_THAT(parametersOf(all, {"10.1.2.3/8"}), ElementsAre(Pair("prefix", "10.0.0.0/8")));
}

TEST(Words, WhatIsWrongIsNamedAndWhatWasExpected) {
    EXPECT_THAT(refusal(all, {"nonsense"}), HasSubstr("'nonsense' is not an address"));
    EXPECT_THAT(refusal(all, {"nonsense"}),
                HasSubstr("an address or prefix or vrf or intf or family is"));
    EXPECT_THAT(refusal(all, {"10.0.0.1/33"}), HasSubstr("'10.0.0.1/33' is not a prefix"));
    EXPECT_EQ(refusal(all, {"10.0.0.1", "10.0.0.2"}),
              "'10.0.0.2' is not expected: vrf or intf or family is");
    EXPECT_EQ(refusal(none, {"10.0.0.2"}), "'10.0.0.2' is not expected: vrf is");
    EXPECT_EQ(refusal(all, {"vrf"}), "'vrf' is the last word: a name is expected");
    EXPECT_EQ(refusal(all, {"family"}), "'family' is the last word: 4 or 6 is expected");
    EXPECT_EQ(refusal(all, {"vrf", "a", "vrf", "b"}), "'b' is one vrf too many");
    EXPECT_EQ(refusal(all, {"family", "5"}), "'5' is no family: 4 or 6 is expected");
    EXPECT_EQ(refusal(one, {"10.0.0.0/8"}), "'10.0.0.0/8' is a prefix: an address is expected");
    EXPECT_EQ(refusal(one, {"vrf", "red"}), "an address is missing");
    EXPECT_EQ(refusal(intf, {}), "an interface is missing");
    EXPECT_EQ(refusal(intf, {""}), "the interface is empty");
}

TEST(Words, TheGrammarIsShown) {
    EXPECT_EQ(toText(all), "[ADDR|PREFIX] [vrf NAME] [intf NAME] [family 4|6]");
    EXPECT_EQ(toText(one), "ADDR [vrf NAME]");
    EXPECT_EQ(toText(intf), "INTF [vrf NAME]");
    EXPECT_EQ(toText(none), "[vrf NAME]");
}

}  // namespace
}  // namespace IntfAddr
