#include "intfaddr/rehearsal/Rehearsal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <istream>
#include <sstream>
#include <streambuf>

#include "Zin/Format.h"
#include "intfaddr/answer/Question.h"
#include "intfaddr/answer/StateScenario.h"
#include "intfaddr/answer/TestAnswers.h"
#include "intfaddr/rehearsal/WhatIf.h"
#include "intfaddr/rehearsal/WhyNot.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> texts(Json const& changes) {
    std::vector<std::string> texts;
    for (auto const& one : changes) {
        texts.push_back(fmt::format(
            "{:.1f} {}{}/{} {}", one["at"].get<double>(), one["present"].get<bool>() ? "+" : "-",
            one["address"].get<std::string>(), one["prefixLength"].get<int>(),
            one["interface"].is_null() ? "-" : one["interface"].get<std::string>()));
    }
    return texts;
}

struct RehearsalTest : AnswersTest {
    std::string state(char const* vrf = "default") const {
        Reply const one = reply("state", {{"vrf", vrf}});
        EXPECT_EQ(one.status, 200U);
        return drained(*one.body);
    }
    Json whyNot(char const* intf, char const* addr, std::string const& since = {}) const {
        return IntfAddr::whyNot(state() + since, "default",
                                {Nimb::IntfId(intf), Nimb::IpGenAddrWithMask(addr)});
    }
    Json whatIf(std::string const& lines) const {
        std::istringstream file(lines);
        return IntfAddr::whatIf(file, [this](auto const& vrf) {
            return vrf == L3::VrfName("default") ? state() : std::string();
        });
    }
    std::string refusal(std::string const& lines) const {
        try {
            static_cast<void>(whatIf(lines));
        } catch (Scenario::FileError const& error) {
            return fmt::format("{}: {}", error.line(), error.what());
        }
        return "";
    }
};

TEST_F(RehearsalTest, ACopyHasTheRowsOfTheAgent) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    addAddress(8, "2001:db8::2/64");
    runTo(1.0);
    Rehearsal rehearsal(state());
    EXPECT_EQ(rehearsal.leftOut(), 0U);
    EXPECT_EQ(rehearsal.router().rows("default"), agent.router().rows("default"));
    EXPECT_EQ(rehearsal.router().deferredAddrs("default"), agent.router().deferredAddrs("default"));
    EXPECT_THAT(rehearsal.changes(), IsEmpty());
}

TEST_F(RehearsalTest, AStateThatChangesMeanwhileSaysSo) {
    for (int i = 1; i <= 200; ++i) {
        addAddress(7, fmt::format("10.0.{}.1/24", i).c_str());
    }
    runTo(1.0);
    EXPECT_THAT(state(), Not(HasSubstr(changedMark)));

    Reply const one = reply("state", {{"vrf", "default"}});
    std::string text;
    one.body->next(text);
    addAddress(8, "10.1.0.1/24");
    runTo(2.0);
    text += drained(*one.body);
    EXPECT_TRUE(text.ends_with("# changed\n"));
    // It is one or the other, and no harm.
    EXPECT_EQ(Rehearsal(text).leftOut(), 0U);
}

TEST_F(RehearsalTest, WhatASickStateNamesInVainIsLeftOut) {
    runTo(1.0);
    Rehearsal const rehearsal(state() +
                              "{\"op\":\"ip.intf.del\",\"vrf\":\"default\",\"intf\":\"et9\"}\n");
    EXPECT_EQ(rehearsal.leftOut(), 1U);
    EXPECT_THAT(rehearsal.remarks(), ElementsAre("1 lines of the state made no sense"));
}

TEST_F(RehearsalTest, AFileThatNeverEndsIsNotReadForEver) {
    struct Endless : std::streambuf {
        int_type underflow() override {
            setg(line.data(), line.data(), line.data() + line.size());
            return traits_type::to_int_type(line.front());
        }
        std::string line =
            "{\"op\":\"manager.start\"," + std::string(1'000'000, ' ') + "\"at\":1}\n";
    } endless;
    std::istream file(&endless);
    try {
        IntfAddr::whatIf(file, [](auto const&) { return std::string(); });
        FAIL();
    } catch (Scenario::FileError const& error) {
        EXPECT_STREQ(error.what(), "the file has more than 16777216 bytes");
    }
}

TEST_F(RehearsalTest, OfAVrfThatIsNotThereNothingIsSaid) {
    EXPECT_TRUE(
        IntfAddr::whyNot("", "red", {"eth0", Nimb::IpGenAddrWithMask("10.0.0.1/24")}).is_null());
}

TEST_F(RehearsalTest, NamesThatMayBeTakenForOneAnotherAreToldOf) {
    add(own, 9, "n\xff");
    runTo(1.0);
    EXPECT_THAT(state(),
                HasSubstr("# not known: {\"what\":\"VRF 'default'\",\"why\":\"names that are "
                          "not UTF-8 may be taken for one another\"}\n"));
    EXPECT_EQ(whyNot("n\xef\xbf\xbd", "10.0.0.1/24")["verdict"], "owned");
}

TEST_F(RehearsalTest, AFreeAddressWouldComeAtOnce) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    for (char const* const addr : {"10.0.1.1/24", "2001:db8::1/64", "fe80::1/64"}) {
        auto const answer = whyNot("eth1", addr);
        EXPECT_TRUE(isAdmitted(answer)) << addr;
        EXPECT_EQ(answer["verdict"], "owned");
        EXPECT_EQ(answer["already"], false);
        EXPECT_THAT(texts(answer["changes"]), ElementsAre(fmt::format("0.0 +{} eth1", addr)));
    }
    EXPECT_THAT(addresses(), Not(Contains(HasSubstr("eth1"))));
}

TEST_F(RehearsalTest, WhoWouldWaitIsToldBehindWhom) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    auto const inSubnet = whyNot("eth1", "10.0.0.2/24");
    EXPECT_FALSE(isAdmitted(inSubnet));
    EXPECT_EQ(inSubnet["verdict"], "waiting");
    EXPECT_EQ(inSubnet["address"]["waitsFor"],
              (Json{{"subnet", "10.0.0.0/24"}, {"interface", "eth0"}}));
    EXPECT_THAT(inSubnet["changes"], IsEmpty());

    auto const same = whyNot("eth1", "10.0.0.1/32");
    EXPECT_EQ(same["address"]["waitsFor"], (Json{{"address", "10.0.0.1"}, {"interface", "eth0"}}));
}

TEST_F(RehearsalTest, WhatIsConfiguredIsToldAsItIs) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    auto const answer = whyNot("eth0", "10.0.0.1/24");
    EXPECT_EQ(answer["already"], true);
    EXPECT_TRUE(isAdmitted(answer));
    EXPECT_THAT(answer["changes"], IsEmpty());
}

TEST_F(RehearsalTest, AnInterfaceWithoutADeviceHasNoRow) {
    runTo(1.0);
    auto const answer = whyNot("et9", "10.0.0.1/24");
    EXPECT_EQ(answer["verdict"], "no-device");
    EXPECT_FALSE(isAdmitted(answer));
}

TEST_F(RehearsalTest, WhatNoInterfaceCanHaveIsRefused) {
    runTo(1.0);
    for (char const* const addr : {"0.0.0.0/0", "224.0.0.1/24", "::/128", "ff02::1/128"}) {
        EXPECT_THROW(whyNot("eth0", addr), BadQuestion) << addr;
    }
}

// What would come about anyway is no consequence.
TEST_F(RehearsalTest, WhatIsDueAnywayIsNotToldOf) {
    addAddress(7, "10.0.0.1/24");
    runTo(1.0);
    std::string const since =
        "{\"op\":\"kernel.del\",\"vrf\":\"default\",\"intf\":\"eth0\"}\n"
        "{\"op\":\"advance\",\"seconds\":0.5}\n";
    auto const waits = whyNot("eth1", "10.0.0.2/24", since);
    EXPECT_EQ(waits["verdict"], "waiting");
    EXPECT_THAT(texts(waits["changes"]), ElementsAre("2.0 +10.0.0.2/24 eth1"));
    EXPECT_THAT(texts(whyNot("eth1", "10.0.1.2/24", since)["changes"]),
                ElementsAre("0.0 +10.0.1.2/24 eth1"));
}

TEST_F(RehearsalTest, WhatComesOfAScenarioComesAtItsTimes) {
    addAddress(7, "10.0.0.1/24");
    addAddress(8, "10.0.0.2/24");
    runTo(20.0);
    auto const answer = whatIf(
        "# what if eth0 went?\n"
        R"({"op":"kernel.del","vrf":"default","intf":"eth0"})"
        "\n\n"
        R"({"at":7.0,"op":"ip.primary","vrf":"default","intf":"eth1","addr":"10.0.1.1/24"})"
        "\n");
    EXPECT_THAT(texts(answer["changes"]),
                ElementsAre("1.5 -10.0.0.1/24 eth0", "3.5 +10.0.0.2/24 eth1",
                            "7.0 -10.0.0.2/24 eth1", "7.0 +10.0.1.1/24 eth1"));
    EXPECT_THAT(answer["remarks"], IsEmpty());
    EXPECT_THAT(addresses(), Contains(HasSubstr("10.0.0.1/24 eth0 table")));
}

TEST_F(RehearsalTest, AVrfThatIsNotThereMayCome) {
    runTo(1.0);
    auto const answer = whatIf(R"({"op":"table.add","vrf":"red"})"
                               "\n"
                               R"({"op":"vip.add","vrf":"red","addr":"10.0.0.9/32"})"
                               "\n"
                               R"({"op":"vip.add","vrf":"default","addr":"10.0.0.8/32"})"
                               "\n");
    EXPECT_THAT(texts(answer["changes"]), ElementsAre("0.0 +10.0.0.9/32 -", "0.0 +10.0.0.8/32 -"));
}

TEST_F(RehearsalTest, ALineThatMakesNoSenseIsNamed) {
    runTo(1.0);
    EXPECT_THAT(refusal("\n{\"op\":\"snapshot\"}\n"), HasSubstr("2: 'snapshot' changes nothing"));
    EXPECT_THAT(refusal("{\"op\":\"config\"}\n"), HasSubstr("1: 'config' changes nothing"));
    EXPECT_THAT(refusal("{\"op\":\"ip.intf.del\",\"vrf\":\"default\",\"intf\":\"et9\"}\n"),
                AllOf(HasSubstr("1: "), HasSubstr("et9")));
    EXPECT_THAT(refusal("{\"op\":7}\n"), HasSubstr("1: field 'op'"));
    EXPECT_THAT(refusal("\n\n{"), HasSubstr("3: "));
    EXPECT_THAT(refusal("{\"op\":\"advance\",\"seconds\":2}\n"
                        "{\"op\":\"advance\",\"seconds\":2,\"at\":1}\n"),
                HasSubstr("2: field 'at': expected a time from 2 on"));
}

// Two lines of a file may bring down what the agent would mend.
TEST_F(RehearsalTest, WhatTheAgentWouldHaveToMendIsRemarked) {
    runTo(1.0);
    std::string const made =
        R"({"op":"ip6.addr.set","vrf":"default","intf":"eth0","addr":"fe80::1/64","deprecated":true})"
        "\n";
    EXPECT_THAT(whatIf(R"({"op":"ip6.intf.add","vrf":"default","intf":"eth0"})"
                       "\n" +
                       made)["remarks"]
                    .dump(),
                HasSubstr("the library would refuse that"));
}

}  // namespace
}  // namespace IntfAddr
