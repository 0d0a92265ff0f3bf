// What an address of any family does: AddrTest.cpp.

#include "Nimb/Ip4Addr.h"

#include <gtest/gtest.h>

namespace Nimb {
namespace {

TEST(Ip4Addr, IsMadeOfItsNumber) {
    EXPECT_EQ(Ip4Addr(0x0a0102ffU), Ip4Addr("10.1.2.255"));
    EXPECT_EQ(Ip4Addr("10.1.2.255").value(), 0x0a0102ffU);
}

}  // namespace
}  // namespace Nimb
