#include "intfaddr/config/ListenAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace IntfAddr {
namespace {

using testing::HasSubstr;

std::string errorOf(std::string_view text) {
    try {
        readListenAddress(text);
        return "none";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

TEST(ListenAddress, IsOfLoopback) {
    EXPECT_EQ(readListenAddress("127.0.0.1:9179"),
              (ListenAddress{.address = Nimb::IpGenAddr("127.0.0.1"), .port = 9179}));
    EXPECT_EQ(readListenAddress("127.255.0.1:0"),
              (ListenAddress{.address = Nimb::IpGenAddr("127.255.0.1"), .port = 0}));
    EXPECT_EQ(readListenAddress("[::1]:65535"),
              (ListenAddress{.address = Nimb::IpGenAddr("::1"), .port = 65535}));
}

TEST(ListenAddress, IsOfNothingElse) {
    for (char const* const text : {"0.0.0.0:80", "10.0.0.1:80", "[::]:80", "[::ffff:127.0.0.1]:80",
                                   "[fe80::1]:80", "128.0.0.1:80"}) {
        EXPECT_EQ(errorOf(text), std::string("'") + text +
                                     "' is not an address of loopback: others than this machine's "
                                     "programs could ask");
    }
}

TEST(ListenAddress, ThatCannotBeReadIsNamed) {
    for (char const* const text :
         {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:-1", "127.0.0.1:65536",
          "127.0.0.1:80 ", "::1:80", "[::1]", "[::1]80", "[127.0.0.1]:80", "localhost:80", ":80"}) {
        EXPECT_THAT(errorOf(text), HasSubstr("an address and a port is, as 127.0.0.1:9179"))
            << text;
        EXPECT_THAT(errorOf(text), testing::StartsWith(std::string("'") + text + "'"));
    }
}

}  // namespace
}  // namespace IntfAddr
