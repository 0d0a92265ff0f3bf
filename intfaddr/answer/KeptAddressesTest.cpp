#include "intfaddr/answer/KeptAddresses.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "intfaddr/agent/TestFolder.h"

namespace IntfAddr {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct KeptAddressesTest : testing::Test {
    void put(std::string const& text) const { std::ofstream(path) << text; }

    TestFolder const folder;
    std::string const path = folder / "kept";
    std::vector<std::string> notices;
    KeptAddresses const kept{path, [this](std::string const& line) { notices.push_back(line); }};
    VirtualAddress const one{"red", Nimb::IpGenAddr("10.0.0.1")};
    VirtualAddress const other{"default", Nimb::IpGenAddr("2001:db8::1")};
};

TEST_F(KeptAddressesTest, WhatWasPutIsThere) {
    EXPECT_THAT(kept.get(), IsEmpty());
    // A VRF may have any name.
    VirtualAddress const odd{std::string("\xff \n&"), Nimb::IpGenAddr("10.0.0.1")};
    EXPECT_TRUE(kept.put({one, other, odd}));
    EXPECT_THAT(contentOf(path), HasSubstr("/v1/virtual?address=10.0.0.1&vrf=red\n"));
    EXPECT_EQ(kept.get(), (VirtualAddressSet{one, other, odd}));
    kept.put({});
    EXPECT_THAT(kept.get(), IsEmpty());
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(KeptAddressesTest, OfAFileThatIsDamagedTheGoodCountsAndAllStays) {
    kept.put({one});
    std::string const good = contentOf(path);
    for (char const* const bad :
         {"nonsense\n", "/v1/virtual?address=10.0.0\n", "\n", "/v1/virtual?address=10.0.0.7\n",
          "/v1/virtual?vrf=red\n", "/v1/virtual?address=10.0.0.7&vrf=red"}) {
        std::string const text = good + bad;
        put(text);
        EXPECT_EQ(kept.get(), VirtualAddressSet{one}) << bad;
        EXPECT_THAT(notices, ElementsAre(AllOf(StartsWith(path + ":2: "),
                                               HasSubstr("all of it is " + path + ".damaged"))));
        EXPECT_EQ(contentOf(path + ".damaged"), text);
        EXPECT_EQ(contentOf(path), good);
        notices.clear();
    }
}

TEST_F(KeptAddressesTest, WhatCannotBeReadIsSetAside) {
    std::filesystem::create_directory(path);
    EXPECT_THAT(kept.get(), IsEmpty());
    EXPECT_THAT(notices, ElementsAre(StartsWith(path + ": cannot be read: Is a directory; ")));
    EXPECT_TRUE(std::filesystem::is_directory(path + ".damaged"));

    put("nonsense\n");
    EXPECT_THAT(kept.get(), IsEmpty());
    EXPECT_THAT(notices.back(), HasSubstr("; nor can it be set aside: "));
}

TEST_F(KeptAddressesTest, WhatCannotBeWrittenIsTold) {
    put("");
    KeptAddresses const below(path + "/kept",
                              [this](std::string const& line) { notices.push_back(line); });
    EXPECT_FALSE(below.put({one}));
    EXPECT_THAT(notices, ElementsAre(StartsWith(path + "/kept: cannot be written: ")));
}

// The state directory of another user than root, with the variables set.
std::string stateDirectoryOf(char const* state, char const* home) {
    for (auto const& [name, value] : {std::pair("XDG_STATE_HOME", state), {"HOME", home}}) {
        EXPECT_EQ(value ? ::setenv(name, value, 1) : ::unsetenv(name), 0);
    }
    uid_t const user = ::geteuid();
    EXPECT_TRUE(user != 0 || ::seteuid(65534) == 0);
    std::string const directory = stateDirectory();
    EXPECT_TRUE(user != 0 || ::seteuid(0) == 0);
    return directory;
}

TEST(StateDirectory, IsTheUsersUnlessHeIsRoot) {
    EXPECT_EQ(stateDirectoryOf("/state", "/home/me"), "/state/intfaddr");
    EXPECT_EQ(stateDirectoryOf(nullptr, "/home/me"), "/home/me/.local/state/intfaddr");
    EXPECT_EQ(stateDirectoryOf("", "/home/me"), "/home/me/.local/state/intfaddr");
    EXPECT_EQ(stateDirectoryOf(nullptr, nullptr), "/var/lib/intfaddr");
    if (::geteuid() == 0) {
        EXPECT_EQ(stateDirectory(), "/var/lib/intfaddr");
        ::setenv("HOME", "/root", 1);
        EXPECT_EQ(stateDirectory(), "/var/lib/intfaddr");
    }
}

}  // namespace
}  // namespace IntfAddr
