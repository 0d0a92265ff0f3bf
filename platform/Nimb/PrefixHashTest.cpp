#include "Nimb/PrefixHash.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Nimb {
namespace {

// The mix in wide arithmetic with explicit remainders.
std::uint32_t mixed(std::uint64_t x) {
    constexpr std::uint64_t modulus = std::uint64_t{1} << 32;
    x = (x * 32767 + modulus - 1) % modulus;
    x = ((x ^ (x / 4096)) * 5) % modulus;
    x = ((x ^ (x / 16)) * 2057) % modulus;
    return static_cast<std::uint32_t>(x ^ (x / 65536));
}

TEST(PrefixHash, MixesTheIpv4AddressWithItsLength) {
    EXPECT_EQ(prefixHash(IpGenAddr("10.0.0.0"), 24), 0x8e15ff1eU);
    EXPECT_EQ(prefixHash(IpGenAddr("10.1.1.1"), 24), 0xc0c0940cU);
    EXPECT_EQ(prefixHash(IpGenAddr("0.0.0.0"), 0), 0xcaa3caa3U);
    EXPECT_EQ(prefixHash(IpGenAddr("255.255.255.255"), 32), 0x18243a57U);
    EXPECT_EQ(prefixHash(IpGenAddr("10.1.1.1"), 24), mixed(0x0a010101U ^ 24U));
}

TEST(PrefixHash, MixesTheHashOfAnIpv6AddressWithItsLength) {
    Ip6Addr const address("2001:db8::1");

    EXPECT_EQ(prefixHash(address, 64), mixed(address.hash() ^ 64U));
    EXPECT_EQ(prefixHash(Ip6Addr(), 0), mixed(Ip6Addr().hash()));
}

TEST(PrefixHash, IsZeroWhereThereIsNoAddress) { EXPECT_EQ(prefixHash(IpGenAddr(), 0), 0U); }

TEST(PrefixHash, LengthsOfOneAddressDiffer) {
    EXPECT_NE(prefixHash(IpGenAddr("10.0.0.0"), 8), prefixHash(IpGenAddr("10.0.0.0"), 24));
    EXPECT_NE(prefixHash(IpGenAddr("::"), 8), prefixHash(IpGenAddr("::"), 24));
}

}  // namespace
}  // namespace Nimb
