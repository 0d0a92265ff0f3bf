#include "intfaddr/answer/Rights.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace IntfAddr {
namespace {

TEST(Rights, RootTheAgentsUserAndWhoIsNamedMayChange) {
    uid_t const stranger = ::geteuid() + 1;
    Rights rights;
    EXPECT_TRUE(rights.mayChange({.uid = 0}));
    EXPECT_TRUE(rights.mayChange({.uid = ::geteuid()}));
    EXPECT_FALSE(rights.mayChange({.uid = stranger}));

    rights.changersAre({stranger});
    EXPECT_TRUE(rights.mayChange({.uid = stranger}));
    EXPECT_TRUE(rights.mayChange({.uid = 0}));
    EXPECT_FALSE(rights.mayChange({.uid = stranger + 1}));
}

}  // namespace
}  // namespace IntfAddr
