#include "intfaddr/http/SocketAddress.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace IntfAddr {
namespace {

TEST(SocketAddress, HasAPathOfUpTo107Bytes) {
    EXPECT_NO_THROW(SocketAddress(std::string(107, 'x')));
    EXPECT_THROW(SocketAddress(std::string(108, 'x')), std::runtime_error);
    EXPECT_THROW(SocketAddress(""), std::runtime_error);
}

}  // namespace
}  // namespace IntfAddr
