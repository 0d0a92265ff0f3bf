#include "intfaddr/agent/Privileges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <thread>

namespace IntfAddr {
namespace {

std::uint64_t bit(cap_value_t capability) { return std::uint64_t{1} << capability; }

// "CapEff" and the like, and "NoNewPrivs", as numbers.
std::map<std::string, std::uint64_t> ownStatus() {
    std::map<std::string, std::uint64_t> found;
    std::ifstream file("/proc/thread-self/status");
    for (std::string line; std::getline(file, line);) {
        auto const colon = line.find(':');
        if (line.starts_with("Cap") || line.starts_with("NoNewPrivs")) {
            found[line.substr(0, colon)] = std::stoull(line.substr(colon + 1), nullptr, 16);
        }
    }
    return found;
}

// Given up in a process of its own, since it is for good; what it is told of goes to its stderr.
struct PrivilegesTest : testing::Test {
    void SetUp() override {
        if (ownStatus()["CapPrm"] == 0) {
            GTEST_SKIP() << "there is nothing to give up";
        }
    }

    static void keepIn(Privileges kept, std::uint64_t expected) {
        auto const before = ownStatus();
        EXPECT_EXIT(
            {
                keepPrivileges(kept);
                auto const after = ownStatus();
                bool const hadAll = (before.at("CapPrm") & bit(CAP_SETPCAP)) != 0;
                EXPECT_EQ(after.at("CapPrm"), before.at("CapPrm") & expected);
                EXPECT_EQ(after.at("CapEff"), before.at("CapPrm") & expected);
                EXPECT_EQ(after.at("CapInh"), 0U);
                EXPECT_EQ(after.at("CapAmb"), 0U);
                EXPECT_EQ(after.at("CapBnd"), hadAll ? 0U : before.at("CapBnd"));
                EXPECT_EQ(after.at("NoNewPrivs"), 1U);
                ::_exit(testing::Test::HasFailure() ? 1 : 0);
            },
            testing::ExitedWithCode(0), "");
    }
};

TEST_F(PrivilegesTest, OnlyWhatFollowingNamespacesTakesIsLeft) {
    keepIn(Privileges::toFollowNamespaces,
           bit(CAP_SYS_ADMIN) | bit(CAP_NET_ADMIN) | bit(CAP_SYS_PTRACE));
}

TEST_F(PrivilegesTest, NothingIsLeft) { keepIn(Privileges::none, 0); }

TEST_F(PrivilegesTest, WhatIsLeftIsGivenUpLater) {
    EXPECT_EXIT(
        {
            keepPrivileges(Privileges::toFollowNamespaces);
            keepPrivileges(Privileges::none);
            ::_exit(ownStatus().at("CapPrm") == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(PrivilegesTest, WhatIsAmbientIsGivenUpToo) {
    EXPECT_EXIT(
        {
            cap_iab_t const ambient = cap_iab_init();
            cap_iab_set_vector(ambient, CAP_IAB_AMB, CAP_CHOWN, CAP_SET);
            bool const wasSet = cap_iab_set_proc(ambient) == 0 && ownStatus().at("CapAmb") != 0;
            keepPrivileges(Privileges::toFollowNamespaces);
            ::_exit(wasSet && ownStatus().at("CapAmb") == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(PrivilegesTest, AnotherThreadWouldKeepItsOwn) {
    EXPECT_EXIT(
        {
            std::thread other([] { ::pause(); });
            keepPrivileges(Privileges::none);
        },
        testing::KilledBySignal(SIGABRT), "another thread would keep");
}

TEST(Privileges, WhoHasNoneIsLeftAlone) {
    EXPECT_EXIT(
        {
            cap_set_proc(cap_init());
            auto const before = ownStatus();
            keepPrivileges(Privileges::none);
            ::_exit(ownStatus() == before ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace IntfAddr
