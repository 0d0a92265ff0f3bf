#include "feeds/netlink/Channel.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <system_error>

#include "feeds/netlink/TestDescriptors.h"

namespace Netlink {
namespace {

TEST(Channel, IsClosedWhereItEndsAndWhereItsOpeningFails) {
    auto const before = openDescriptors();
    {
        auto const channel = openChannel();
        EXPECT_NE(channel->port(), 0U);
        EXPECT_GT(openDescriptors(), before);
    }
    for (int const call : {SYS_socket, SYS_bind, SYS_getsockname, SYS_setsockopt}) {
        whereRefused(call, [] { EXPECT_THROW(openChannel(), std::system_error); });
    }

    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace Netlink
