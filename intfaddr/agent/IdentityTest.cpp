#include "intfaddr/agent/Identity.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace IntfAddr {
namespace {

TEST(Identity, EachStartHasAnotherOne) {
    auto const identity = startIdentity();

    EXPECT_NE(startIdentity(), identity);
    EXPECT_EQ(std::stoi(identity.substr(identity.find('-') + 1), nullptr, 16), ::getpid());
}

}  // namespace
}  // namespace IntfAddr
