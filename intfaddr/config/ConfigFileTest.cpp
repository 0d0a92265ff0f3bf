#include "intfaddr/config/ConfigFile.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <regex>

#include "intfaddr/config/WholeFile.h"

namespace IntfAddr {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string errorOf(std::string const& text) {
    try {
        readConfig(text, "f");
        return "none";
    } catch (ConfigError const& error) {
        return error.what();
    }
}

TEST(ConfigFile, OfNoKeyIsTheDefaults) {
    EXPECT_EQ(readConfig("", "f"), Config());
    EXPECT_EQ(readConfig("# nothing\n[virtual]\n", "f"), Config());
}

TEST(ConfigFile, EachKeyIsRead) {
    Config const config = readConfig(R"(
events = true
record = "/a"
limit = 4096
trouble-dir = "/b"
run-dir = "/c"
group = "root"
listen = "[::1]:9179"
coalesce = 2.5
yield-every = 1
receive-buffer = 1073741824
leave-out = ["e*", "f?"]
no-unnumbered = true
fixed-namespaces = true
changers = ["root", 7]
keep-virtual = true
state-dir = "/d"
[virtual]
default = ["10.0.0.1", "::1"]
"red/x" = ["10.0.0.1"]
)",
                                     "f");
    EXPECT_EQ(config,
              (Config{.events = true,
                      .record = "/a",
                      .limit = 4096,
                      .troubleDir = "/b",
                      .runDir = "/c",
                      .group = "root",
                      .listen = ListenAddress{.address = Nimb::IpGenAddr("::1"), .port = 9179},
                      .coalesce = 2.5,
                      .yieldEvery = 1,
                      .receiveBuffer = 1073741824,
                      .policy = {.leftOut = {"e*", "f?"}, .borrows = false},
                      .fixedNamespaces = true,
                      .changers = {0, 7},
                      .virtualAddresses = {{"default", Nimb::IpGenAddr("10.0.0.1")},
                                           {"default", Nimb::IpGenAddr("::1")},
                                           {"red/x", Nimb::IpGenAddr("10.0.0.1")}},
                      .keepVirtual = true,
                      .stateDir = "/d"}));
    EXPECT_EQ(readConfig("coalesce = 3", "f").coalesce, 3.0);
}

TEST(ConfigFile, TheCommandLineHoldsAgainstIt) {
    Given const given{.config = {.limit = 5000, .coalesce = 7.0}, .names = {"coalesce"}};
    Config const config = readConfig("coalesce = 1\nlimit = 6000", "f", given);
    EXPECT_EQ(config, (Config{.limit = 6000, .coalesce = 7.0}));
    EXPECT_THROW(readConfig("coalesce = -1", "f", given), ConfigError);
}

TEST(ConfigFile, ABadValueIsNamedWithItsLine) {
    for (auto const& [text, expected] : std::vector<std::pair<std::string, std::string>>{
             {"events = 1", "f:1: 'events': 1 is not expected: true or false is"},
             {"\n\nevents = \"true\"", "f:3: 'events': 'true' is not expected: true or false is"},
             {"record = 7", "f:1: 'record': 7 is not expected: a path is"},
             {"record = \"\"", "f:1: 'record': '' is not expected: a path is"},
             {"limit = 4095",
              "f:1: 'limit': 4095 is not expected: an integer from 4096 to 9223372036854775807 is"},
             {"limit = -1", "f:1: 'limit': -1 is"},
             {"yield-every = 0", "an integer from 1 to 4294967295 is"},
             {"yield-every = 4294967296", "f:1: 'yield-every': 4294967296 is"},
             {"yield-every = 1.0", "f:1: 'yield-every': 1.0 is"},
             {"receive-buffer = 1073741825", "an integer from 4096 to 1073741824 is"},
             {"coalesce = 1000.5",
              "f:1: 'coalesce': 1000.5 is not expected: a number from 0 to 1000 is"},
             {"coalesce = nan", "f:1: 'coalesce': nan is"},
             {"coalesce = [1]", "f:1: 'coalesce': a list is"},
             {"group = \"no such group\"", "f:1: 'group': there is no group 'no such group'"},
             {"listen = 9179", "f:1: 'listen': 9179 is not expected: an address and a port is"},
             {"listen = \"10.0.0.1:80\"",
              "f:1: 'listen': '10.0.0.1:80' is not an address of loopback: "},
             {"changers = \"root\"", "f:1: 'changers': 'root' is not expected: a list of users is"},
             {"changers = [\n\"root\",\n\"no such user\"]",
              "f:3: 'changers': there is no user 'no such user'"},
             {"changers = [4294967295]", "an integer from 0 to 4294967294 is"},
             {"leave-out = [\"e\", {}]",
              "f:1: 'leave-out': a table is not expected: the name of an interface is"},
             {"virtual = []", "f:1: 'virtual': a list is not expected: a table"},
             {"[virtual]\nred = \"10.0.0.1\"", "f:2: 'red': '10.0.0.1' is not expected: a list"},
             {"[virtual]\nred = [\"::1\",\n\"10.0.0.256\"]",
              "f:3: 'red': '10.0.0.256' is not an address: "},
             {"[virtual]\nred = [\"10.0.0.1/24\"]", "f:2: 'red': '10.0.0.1/24' is not an address"},
             {"[virtual]\nred = []\n\"\" = []", "f:3: 'virtual': the name of a VRF is empty"}}) {
        EXPECT_THAT(errorOf(text), expected.starts_with("f:")
                                       ? testing::Matcher<std::string>(StartsWith(expected))
                                       : EndsWith(expected))
            << text;
    }
}

TEST(ConfigFile, TheFirstThatIsWrongIsTold) {
    EXPECT_THAT(errorOf("yield-every = 0\nevents = 1"), StartsWith("f:1: 'yield-every'"));
}

TEST(ConfigFile, AnUnknownKeyIsNamedWithOneThatIsNear) {
    EXPECT_EQ(errorOf("\ncoalesec = 1"), "f:2: 'coalesec' is unknown: is 'coalesce' meant?");
    EXPECT_EQ(errorOf("event = true"), "f:1: 'event' is unknown: is 'events' meant?");
    EXPECT_THAT(errorOf("verbose = true"),
                StartsWith("f:1: 'verbose' is unknown: events, record, "));
    EXPECT_THAT(errorOf("[vrf.red]\n"), StartsWith("f:1: 'vrf' is unknown: "));
}

TEST(ConfigFile, WhatIsNoTomlIsToldWithItsLine) {
    EXPECT_THAT(errorOf("events = true\nrecord = /a"), StartsWith("f:2: "));
    EXPECT_THAT(errorOf("events = true\nevents = false"), StartsWith("f:2: "));
    EXPECT_THAT(errorOf("[virtual"), StartsWith("f:1: "));
    EXPECT_THAT(errorOf("\n\"\xff\" = 1"), StartsWith("f:2: "));
}

TEST(ConfigFile, ThatCannotBeReadIsNamed) {
    try {
        readConfigFile("/no/such/file");
        FAIL();
    } catch (ConfigError const& error) {
        EXPECT_STREQ(error.what(), "/no/such/file: cannot be read: No such file or directory");
        EXPECT_EQ(error.line(), 0U);
    }
}

TEST(ConfigFile, WhatCannotChangeIsHeldBack) {
    Config const running{.record = "/a", .coalesce = 1.0, .policy = {.leftOut = {"e*"}}};
    Config next{.record = "/b", .coalesce = 2.0, .changers = {7}};
    EXPECT_THAT(holdBack(running, next), ElementsAre("record", "leave-out"));
    EXPECT_EQ(
        next,
        (Config{.record = "/a", .coalesce = 2.0, .policy = {.leftOut = {"e*"}}, .changers = {7}}));
    EXPECT_THAT(holdBack(running, next), IsEmpty());
}

// The example, and what it says when what is commented out counts.
std::string const example = readWhole(EXAMPLE_FILE);
std::string const uncommented =
    std::regex_replace(example, std::regex("(^|\n)# (?=[a-z\"][^ ]* = )"), "$1");

TEST(ConfigFile, OfTheExampleIsTheDefaults) {
    EXPECT_EQ(readConfig(example, "f"), Config());

    Config config = readConfig(uncommented, "f");
    EXPECT_EQ(config.virtualAddresses.size(), 4U);
    EXPECT_TRUE(config.record && config.troubleDir && config.runDir && config.group &&
                config.stateDir && config.listen);
    config.virtualAddresses.clear();
    for (auto* const hasNoDefault :
         {&config.record, &config.troubleDir, &config.runDir, &config.group, &config.stateDir}) {
        hasNoDefault->reset();
    }
    config.listen.reset();
    EXPECT_EQ(config, Config());
}

// An unknown key is told the known ones.
TEST(ConfigFile, OfTheExampleHasEveryKey) {
    std::string known = errorOf("none-of-them = 1");
    known = known.substr(known.rfind(": ", known.size() - 1) + 2);
    std::smatch name;
    int keys = 0;
    for (; std::regex_search(known, name, std::regex("([a-z-]+)(, | are expected)"));
         known = name.suffix()) {
        ++keys;
        std::string const begin =
            name[1] == "virtual" ? "\n[virtual]\n" : "\n# " + name.str(1) + " = ";
        EXPECT_THAT(example, HasSubstr(begin));
    }
    EXPECT_EQ(keys, 17);
}

}  // namespace
}  // namespace IntfAddr
