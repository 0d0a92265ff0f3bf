#include "intfaddr/answer/Rights.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace IntfAddr {
namespace {

TEST(Rights, RootTheAgentsUserAndWhoIsNamedMayChange) {
    uid_t const stranger = ::geteuid() + 1;
    Rights rights;
    EXPECT_TRUE(rights.mayChange(Peer{.uid = 0}));
    EXPECT_TRUE(rights.mayChange(Peer{.uid = ::geteuid()}));
    EXPECT_FALSE(rights.mayChange(Peer{.uid = stranger}));

    rights.changersAre({stranger});
    EXPECT_TRUE(rights.mayChange(Peer{.uid = stranger}));
    EXPECT_TRUE(rights.mayChange(Peer{.uid = 0}));
    EXPECT_FALSE(rights.mayChange(Peer{.uid = stranger + 1}));
}

TEST(Rights, WhoIsNotKnownMayChangeNothing) {
    Rights rights;
    rights.changersAre({0, ::geteuid()});
    EXPECT_FALSE(rights.mayChange(std::nullopt));
    EXPECT_FALSE(Rights::mayWriteFiles(std::nullopt));
}

}  // namespace
}  // namespace IntfAddr
