#include "intfaddr/history/Since.h"

#include <gtest/gtest.h>

#include "Nimb/IpGenAddrWithMask.h"
#include "TestMemory/TestMemory.h"

namespace IntfAddr {
namespace {

using IpLib::IntfAddrEntryKey;

Since::Row row(char const* addr, char const* intf = "eth0") {
    Nimb::IpGenAddrWithMask const whole(addr);
    return {.key = IntfAddrEntryKey::makeIpKey(whole.address()),
            .intfId = intf,
            .subnet = whole.prefix()};
}

TEST(Since, KnowsWhenWhatIsThereCame) {
    Since since;
    since.come("red", row("10.0.0.1/24"), 1.5);
    since.come("red", row("10.0.0.2/24"), 2.5);
    EXPECT_EQ(since.of("red", row("10.0.0.1/24")), 1.5);
    EXPECT_EQ(since.of("red", row("10.0.0.2/24")), 2.5);

    EXPECT_TRUE(since.gone("red", row("10.0.0.1/24")));
    EXPECT_FALSE(since.gone("red", row("10.0.0.1/24")));
    EXPECT_EQ(since.of("red", row("10.0.0.1/24")), std::nullopt);
    EXPECT_EQ(since.size(), 1U);
}

TEST(Since, WhatIsThereAlreadyKeepsItsTime) {
    Since since;
    EXPECT_TRUE(since.come("red", row("10.0.0.1/24"), 1.5));
    EXPECT_FALSE(since.come("red", row("10.0.0.1/24"), 2.5));
    EXPECT_EQ(since.of("red", row("10.0.0.1/24")), 1.5);
}

TEST(Since, TellsRowsFromEachOtherByAllThatTheySay) {
    Since since;
    since.come("red", row("10.0.0.1/24"), 1.0);
    EXPECT_EQ(since.of("blue", row("10.0.0.1/24")), std::nullopt);
    EXPECT_EQ(since.of("red", row("10.0.0.1/24", "eth1")), std::nullopt);
    EXPECT_EQ(since.of("red", row("10.0.0.1/25")), std::nullopt);
    Since::Row const host{.key = IntfAddrEntryKey::makeIpKey(Nimb::IpGenAddr("10.0.0.1")),
                          .intfId = {},
                          .subnet = {}};
    Since::Row virtualOne = host;
    virtualOne.key.virtualIp = true;
    since.come("red", host, 2.0);
    EXPECT_EQ(since.of("red", virtualOne), std::nullopt);
}

TEST(Since, KeepsManyRowsApartAndTakesWhatItsHeaderSays) {
    std::size_t const before = TestMemory::bytes;
    Since since;
    constexpr std::uint32_t count = 200'000;
    for (std::uint32_t number = 0; number < count; ++number) {
        Nimb::IpGenAddr const addr(Nimb::Ip4Addr(Nimb::Ip4Bytes{
            10, static_cast<std::uint8_t>(number >> 16U), static_cast<std::uint8_t>(number >> 8U),
            static_cast<std::uint8_t>(number)}));
        since.come("red",
                   {.key = IntfAddrEntryKey::makeIpKey(addr), .intfId = "eth0", .subnet = {}},
                   number);
        if (number > 1'000) {
            ASSERT_LE((TestMemory::bytes - before) / since.size(), 70U);
        }
    }
    EXPECT_EQ(since.size(), count);
}

}  // namespace
}  // namespace IntfAddr
