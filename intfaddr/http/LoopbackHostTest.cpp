#include "intfaddr/http/LoopbackHost.h"

#include <gtest/gtest.h>

#include <string>

namespace IntfAddr {
namespace {

TEST(LoopbackHost, IsThisMachine) {
    for (std::string const host :
         {"localhost", "LocalHost", "localhost.", "127.0.0.1", "127.1.2.3", "[::1]"}) {
        for (char const* const port : {"", ":", ":80", ":9179"}) {
            EXPECT_TRUE(isLoopbackHost(host + port)) << host << port;
        }
    }
}

TEST(LoopbackHost, IsNoOther) {
    for (char const* const host : {"",
                                   ":",
                                   ":80",
                                   "x",
                                   "localhost..",
                                   "localhost.example",
                                   "xlocalhost",
                                   ".",
                                   "localhos",
                                   "128.0.0.1",
                                   "12.7.0.1",
                                   "127.0.0.1.example",
                                   "127.0.0.1.",
                                   "127.0.0",
                                   "127.0.0.1:x",
                                   "127.0.0.1:80:80",
                                   "::1",
                                   "[::1",
                                   "[::1]x",
                                   "[::1]:x",
                                   "[::1]:80:80",
                                   "[::2]",
                                   "[127.0.0.1]",
                                   "user@localhost",
                                   "localhost:80@evil",
                                   "evil:localhost",
                                   "0.0.0.0"}) {
        EXPECT_FALSE(isLoopbackHost(host)) << host;
    }
}

}  // namespace
}  // namespace IntfAddr
